// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Cleans up after pointers have become numbers: address arithmetic that is there twice, tests that
// constants decide, widths of 64 bits that need not be.
#pragma once

#include "compute/spirv/passes/Lowering.h"

namespace compute::spirv {

/// Never fails.
platform::Result<void> simplify(Lowering& lowering);

/// The same after expandOperations(), whose work it does not undo. Never fails.
platform::Result<void> removeRepeated(Lowering& lowering);

} // namespace compute::spirv
