// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Integers and pointers that grow by the same amount from each lane to the next: the position along
// x, an array index made of it, the address of a pixel. Memory reached through them is read and
// written in whole vectors.
#pragma once

#include "compute/simd/analysis/PrivateMemory.h"

namespace compute::simd {

class Strides {
public:
    Strides(llvm::Function& function, const llvm::LoopInfo& loops, const Uniformity& uniformity,
            const PrivateMemory& memory, const ParameterStrides& parameters = kernelParameters());

    /// How much `value` grows from lane to lane: 0 when it is uniform, none when it grows unevenly.
    /// Integers grow modulo their width.
    std::optional<std::int64_t> of(const llvm::Value* value) const;

    /// Bytes between the copies of a variable of PrivateMemory::Kind::Copies.
    static std::int64_t copyStride(const llvm::AllocaInst& variable,
                                   const llvm::DataLayout& layout);

private:
    /// A stride; "unknown" until an operand has been looked at.
    struct Guess {
        bool isUnknown = true;
        std::optional<std::int64_t> stride;
        bool operator==(const Guess&) const = default;
    };
    static Guess even(std::int64_t stride);
    static Guess uneven() { return {false, std::nullopt}; }

    Guess guess(const llvm::Value* value) const;
    Guess find(const llvm::Instruction& instruction) const;
    Guess findSum(const llvm::Instruction& sum, int sign) const;
    Guess findProduct(const llvm::Value* factor, const llvm::Value* value) const;
    Guess findAddress(const llvm::GetElementPtrInst& address) const;
    Guess findJoin(llvm::ArrayRef<const llvm::Value*> values) const;
    Guess findCast(const llvm::CastInst& cast) const;

    const llvm::LoopInfo& m_loops;
    const Uniformity& m_uniformity;
    const PrivateMemory& m_memory;
    const llvm::DataLayout& m_layout;
    llvm::DenseMap<const llvm::Value*, Guess> m_guesses;
};

} // namespace compute::simd
