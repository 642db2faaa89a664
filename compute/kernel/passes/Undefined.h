// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Replaces undefined values, which LLVM may choose differently at every use, by zeros. A kernel
// that reads what it never wrote then gets a plain wrong number instead of a wild jump.
#pragma once

#include <llvm/IR/Constant.h>
#include <llvm/IR/Function.h>

namespace compute::kernel {

/// The constant with zeros for everything undefined in it.
llvm::Constant* withoutUndefined(llvm::Constant* constant);

/// Replaces undefined operands of all instructions.
void replaceUndefinedOperands(llvm::Function& function);

/// Has the function begin by clearing its stack variables, except those that it first writes as a
/// whole.
void clearStackVariables(llvm::Function& function);

} // namespace compute::kernel
