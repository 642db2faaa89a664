// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Unrolls short loops of a few iterations. Drivers would, but go by the size of the body, and a
// sine is some twenty operations here where it is one of theirs.
#pragma once

#include "compute/spirv/passes/Lowering.h"

namespace compute::spirv {

/// Never fails.
platform::Result<void> unrollLoops(Lowering& lowering);

} // namespace compute::spirv
