// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Fused multiply-add where there is no instruction for it: on processors for which LLVM would call
// a function for each lane, and on graphics devices, whose drivers need not round once.
#pragma once

#include <llvm/IR/IRBuilder.h>

namespace compute::kernel {

/// a * b + c of floats or vectors of them, rounded once. Computes with doubles.
llvm::Value* fusedMultiply(llvm::IRBuilderBase& builder, llvm::Value* a, llvm::Value* b,
                           llvm::Value* c);

} // namespace compute::kernel
