// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Affine values: integers and pointers whose lanes are base + stride * lane, such as the position
// along x, an array index made of it, or the address of a pixel. Memory reached through them is
// read and written in whole vectors.
#pragma once

#include "compute/simd/analysis/PrivateMemory.h"

namespace compute::simd {

class Strides {
public:
    Strides(llvm::Function& function, const llvm::LoopInfo& loops, const Uniformity& uniformity,
            const PrivateMemory& memory, const ParameterStrides& parameters = kernelParameters());

    /// The difference between neighbouring lanes: 0 when `value` is uniform, none when it is not
    /// affine. Integers wrap around at their width.
    std::optional<std::int64_t> of(const llvm::Value* value) const;

    /// The distance in bytes between the copies of a variable of PrivateMemory::Kind::Copies.
    static std::int64_t copyStride(const llvm::AllocaInst& variable,
                                   const llvm::DataLayout& layout);

private:
    /// An element of the lattice: unknown, then a stride, then not affine.
    struct Guess {
        bool isUnknown = true;
        std::optional<std::int64_t> stride;
        bool operator==(const Guess&) const = default;
    };
    static Guess affine(std::int64_t stride);
    static Guess notAffine() { return {false, std::nullopt}; }

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
