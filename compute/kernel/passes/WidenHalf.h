// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Computes with half values in float. Processors rarely have half arithmetic, and code generation
// would otherwise round after every single operation, through integer registers. Values are
// rounded where the program says so: where it converts to half and where a half goes to memory.
// Results are therefore at least as precise as half arithmetic, as the language allows under fast
// math. After promote(), since its simplifications turn such code back into half arithmetic.
#pragma once

#include "compute/kernel/Pass.h"

namespace compute::kernel {

/// Never fails. Leaves no half arithmetic: only conversions, loads, stores and moves.
platform::Result<void> widenHalf(PassContext& context);

} // namespace compute::kernel
