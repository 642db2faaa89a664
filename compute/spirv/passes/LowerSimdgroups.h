// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// SIMD-groups of 32 threads on devices whose subgroups are of whatever size: what threads tell each
// other goes through memory of the threadgroup, between two barriers. Each thread also notes that
// it takes part, so that those which went another way are left out. It is as slow as it sounds, and
// needs all threads of a threadgroup that are still there to come along.
#pragma once

#include "compute/spirv/passes/Lowering.h"

namespace compute::spirv {

/// Never fails.
platform::Result<void> lowerSimdgroups(Lowering& lowering);

} // namespace compute::spirv
