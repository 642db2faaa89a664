// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Replaces values that LLVM may choose as it likes, separately at every use, by zeros. A kernel
// that reads what it never wrote then gets a plain wrong number instead of a wild jump.
#pragma once

#include <llvm/IR/Constant.h>
#include <llvm/IR/Function.h>

namespace compute::kernel {

/// The constant with zeros for everything undefined in it.
llvm::Constant* withoutUndefined(llvm::Constant* constant);

/// Replaces undefined operands of all instructions.
void replaceUndefinedOperands(llvm::Function& function);

/// Clears the stack variables that are left after promotion to registers, at the function's start,
/// unless they are written as a whole before anything else.
void clearStackVariables(llvm::Function& function);

} // namespace compute::kernel
