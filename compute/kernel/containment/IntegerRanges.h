// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Interval analysis of the integers of a function. It looks at a few instructions before each one,
// which is enough for indices: mostly they are extended from 32 bits, masked or clamped right where
// they are used.
#pragma once

#include "compute/kernel/containment/SpillSlots.h"

#include <llvm/IR/ConstantRange.h>
#include <llvm/IR/IntrinsicInst.h>

namespace compute::kernel {

/// For one function; valid as long as it does not change.
class IntegerRanges {
public:
    explicit IntegerRanges(SpillSlots& spillSlots) : m_spillSlots(spillSlots) {}

    /// The range of an integer, or of all lanes of a vector together.
    llvm::ConstantRange of(const llvm::Value& value) { return at(value, 0); }

private:
    llvm::ConstantRange at(const llvm::Value& value, unsigned depth);
    llvm::ConstantRange ofInstruction(const llvm::Instruction& instruction, unsigned depth);
    llvm::ConstantRange ofIntrinsic(const llvm::IntrinsicInst& call, unsigned depth);

    SpillSlots& m_spillSlots;
};

} // namespace compute::kernel
