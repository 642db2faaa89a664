// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Numbers of sixteen bits on devices that do not have them: integers that are converted exactly, to
// the nearest even one, by integer arithmetic and one sum of floats. Comes before simplify(), which
// would make arithmetic on halfs of their conversions again.
#pragma once

#include "compute/spirv/passes/Lowering.h"

namespace compute::spirv {

/// Does nothing where the device has them. Never fails.
platform::Result<void> lowerHalfs(Lowering& lowering);

} // namespace compute::spirv
