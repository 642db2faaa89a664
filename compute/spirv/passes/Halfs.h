// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Numbers of sixteen bits on devices that do not have them: exact in both directions, to the nearest
// even one, by integer arithmetic and one subtraction of floats.
#pragma once

#include <llvm/IR/IRBuilder.h>

namespace compute::spirv {

llvm::Value* floatOfHalf(llvm::IRBuilder<>& builder, llvm::Value* half);
/// Of a float; a double is rounded to float first.
llvm::Value* halfOfFloat(llvm::IRBuilder<>& builder, llvm::Value* value);

} // namespace compute::spirv
