// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What is done with the numbers of one element of a buffer's view becomes one access to the
// element: some drivers make as much of an access to one number as to four.
#pragma once

#include "compute/spirv/passes/Lowering.h"

namespace compute::spirv {

/// Never fails.
platform::Result<void> widenViews(Lowering& lowering);

} // namespace compute::spirv
