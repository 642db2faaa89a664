// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Gives every operation of the language a result for all operands:
//
//     x / 0 = 0, x % 0 = 0, MIN / -1 = MIN, MIN % -1 = 0
//     shift amounts count modulo the width
//     float to integer saturates, NaN becomes 0
//     reaching the end of a function without a value returns zero
//
// Runs before anything optimises, because LLVM may assume that the undefined cases never happen,
// and before inlining, which folds constant operands.
#pragma once

#include "compute/kernel/Pass.h"

namespace compute::kernel {

/// Rewrites all functions of the module. Never fails.
platform::Result<void> defineArithmetic(PassContext& context);

} // namespace compute::kernel
