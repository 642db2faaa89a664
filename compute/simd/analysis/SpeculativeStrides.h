// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Strides that addresses probably have where Strides cannot prove any. The position of a pixel is
// often rounded from floating point, clamped to an edge or wrapped around it, and in most vectors
// none of that makes a difference. Emitted code compares the addresses with the speculated stride
// at run time and gathers only when they differ.
#pragma once

#include "compute/simd/analysis/Strides.h"

#include <llvm/IR/IntrinsicInst.h>

namespace compute::simd {

class SpeculativeStrides {
public:
    explicit SpeculativeStrides(const Strides& strides, const llvm::DataLayout& layout)
        : m_strides(strides), m_layout(layout) {}

    /// None when no stride is likely.
    std::optional<std::int64_t> of(const llvm::Value* value);

private:
    using Guess = std::optional<std::int64_t>;
    Guess find(const llvm::Instruction& instruction);
    Guess findCall(const llvm::IntrinsicInst& call);
    Guess findAddress(const llvm::GetElementPtrInst& address);
    Guess sum(Guess first, Guess second, std::int64_t sign = 1);
    Guess product(const llvm::Value* value, Guess factor);
    Guess quotient(const llvm::Value* value, Guess divisor);
    /// The stride of a selection among values. Uniform ones are taken for the bounds of a clamp,
    /// which few lanes reach.
    Guess choice(llvm::ArrayRef<const llvm::Value*> values);

    const Strides& m_strides;
    const llvm::DataLayout& m_layout;
    llvm::DenseMap<const llvm::Value*, Guess> m_known;
    unsigned m_depth = 0;
};

} // namespace compute::simd
