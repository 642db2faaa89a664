// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Questions what kind of number some bits are: zero, denormal, infinity, none. LLVM makes them of
// comparisons of a computed number's bits, and of several comparisons of one number.
#pragma once

#include <llvm/IR/IRBuilder.h>
#include <llvm/IR/IntrinsicInst.h>

namespace compute::spirv {

/// The answer to llvm.is.fpclass, by comparing bits.
llvm::Value* floatClassTest(llvm::IRBuilder<>& builder, const llvm::IntrinsicInst& call);

} // namespace compute::spirv
