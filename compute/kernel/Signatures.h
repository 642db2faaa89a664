// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A function's type cannot be changed, so whoever adds or removes parameters makes another function
// and moves the body there. What that means for names and attributes is decided here.
#pragma once

#include <llvm/ADT/Twine.h>
#include <llvm/IR/DerivedTypes.h>
#include <llvm/IR/Function.h>

namespace compute::kernel {

/// Declares an internal function with the function attributes of `model`, and none for parameters.
llvm::Function& declareLike(llvm::Function& model, llvm::FunctionType& type,
                            const llvm::Twine& name);

/// Declares such a function and moves name and body of `function` into it. What is left to do for
/// the caller: to replace the uses of the old parameters, which the body still refers to, and all
/// calls.
llvm::Function& changeType(llvm::Function& function, llvm::FunctionType& type);

} // namespace compute::kernel
