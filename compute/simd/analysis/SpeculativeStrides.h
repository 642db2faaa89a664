// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// How much addresses probably grow from lane to lane, where Strides cannot promise it: pixels are
// found with numbers that were rounded from floating point, held at an edge or wrapped around it,
// and in most rows of lanes none of that happens. Memory access looks whether it is so, and then
// has no need to gather.
#pragma once

#include "compute/simd/analysis/Strides.h"

#include <llvm/IR/IntrinsicInst.h>

namespace compute::simd {

class SpeculativeStrides {
public:
    explicit SpeculativeStrides(const Strides& strides, const llvm::DataLayout& layout)
        : m_strides(strides), m_layout(layout) {}

    /// None when nothing speaks for any stride.
    std::optional<std::int64_t> of(const llvm::Value* value);

private:
    using Guess = std::optional<std::int64_t>;
    Guess find(const llvm::Instruction& instruction);
    Guess findCall(const llvm::IntrinsicInst& call);
    Guess findAddress(const llvm::GetElementPtrInst& address);
    Guess sum(Guess first, Guess second, std::int64_t sign = 1);
    Guess product(const llvm::Value* value, Guess factor);
    Guess quotient(const llvm::Value* value, Guess divisor);
    /// Of values one of which is chosen; being held at a bound is the exception.
    Guess choice(llvm::ArrayRef<const llvm::Value*> values);

    const Strides& m_strides;
    const llvm::DataLayout& m_layout;
    llvm::DenseMap<const llvm::Value*, Guess> m_known;
    unsigned m_depth = 0;
};

} // namespace compute::simd
