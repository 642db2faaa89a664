// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Between which numbers the integers of a function lie, as far as the few instructions before them
// tell: enough for the indices of accesses, which are mostly extended from 32 bits, masked or
// clamped right where they are used.
#pragma once

#include "compute/kernel/containment/SpillSlots.h"

#include <llvm/IR/ConstantRange.h>
#include <llvm/IR/IntrinsicInst.h>

namespace compute::kernel {

/// For one function; valid as long as it does not change. The same question always has the same
/// answer.
class IntegerRanges {
public:
    explicit IntegerRanges(SpillSlots& kept) : m_kept(kept) {}

    /// Of an integer, or of all lanes of a vector together.
    llvm::ConstantRange of(const llvm::Value& value) { return at(value, 0); }

private:
    llvm::ConstantRange at(const llvm::Value& value, unsigned depth);
    llvm::ConstantRange ofInstruction(const llvm::Instruction& instruction, unsigned depth);
    llvm::ConstantRange ofIntrinsic(const llvm::IntrinsicInst& call, unsigned depth);

    SpillSlots& m_kept;
};

} // namespace compute::kernel
