// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Spells out what SPIR-V has no instruction for, or none whose result is the same on every device:
// conversions that saturate, products and sums with one rounding, remainders of negative numbers,
// counts and reversals of bits other than 32, funnel shifts, sums that saturate, overflow, classes
// of floating-point numbers. Comes after the last simplification, which would recognise such code
// and fold it again.
#pragma once

#include "compute/spirv/passes/Lowering.h"

namespace compute::spirv {

/// Fails, with the name of the operation, for what is left.
platform::Result<void> expandOperations(Lowering& lowering);

} // namespace compute::spirv
