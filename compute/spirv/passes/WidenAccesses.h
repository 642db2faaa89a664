// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Loads and stores of neighbouring numbers, at constant distances from one address, become one of a
// vector of up to 16 bytes; nothing is calculated in vectors. Follows the last simplification,
// which would go on to rearrange the vectors, and comes before the control flow is structured.
#pragma once

#include "compute/spirv/passes/Lowering.h"

namespace compute::spirv {

/// Never fails.
platform::Result<void> widenAccesses(Lowering& lowering);

} // namespace compute::spirv
