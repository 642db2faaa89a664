// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Turns copies and fills of memory into loads and stores of words: all of them, if they are few,
// else in a loop. Vectors and structures, which the optimiser may have loaded as a whole, become
// their elements, and what the optimiser alone wanted to know goes. Comes before lowerPointers().
#pragma once

#include "compute/spirv/passes/Lowering.h"

namespace compute::spirv {

/// Fails for copies of variable length, of which canonical kernels have none.
platform::Result<void> expandMemory(Lowering& lowering);

} // namespace compute::spirv
