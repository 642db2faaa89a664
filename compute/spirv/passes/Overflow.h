// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Sums, differences and products that come with the answer whether they have more bits than their
// type. Programs test that after the fact, and LLVM makes one operation of it.
#pragma once

#include <llvm/IR/Function.h>

namespace compute::spirv {

/// Replaces them by operations on numbers; of 64 bits only products without a sign, as
/// LLVM makes no others.
void expandOverflowTests(llvm::Function& function);

} // namespace compute::spirv
