// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Computes with half values in float, as processors rarely have half arithmetic, and rounds what
// the program would see rounded: the result of every operation, but for a product that goes
// straight into a sum, with which it may become one operation. So a half is what its sixteen bits
// can hold wherever it is looked at, in memory or not. What only chooses among halves is not
// rounded again. After promote(), since its simplifications turn such code back into half
// arithmetic.
#pragma once

#include "compute/kernel/Pass.h"

namespace compute::kernel {

/// Never fails. Leaves no half arithmetic: only conversions, loads, stores and moves.
platform::Result<void> widenHalf(PassContext& context);

} // namespace compute::kernel
