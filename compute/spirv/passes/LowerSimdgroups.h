// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What the threads of a SIMD-group do together becomes calls of functions. These use the device's
// subgroups where it has such of 32 threads (SimdgroupSubgroups), and memory of the threadgroup
// elsewhere (SimdgroupMemory). Of subgroups only full ones are known to have the threads that a
// SIMD-group should have, so that a shader for a device which has them can do both, and
// decides by the size of the workgroup that it is specialised for. With subgroups, it is they
// that say which thread of the threadgroup a thread is.
#pragma once

#include "compute/spirv/passes/Lowering.h"

namespace compute::spirv {

/// Never fails.
platform::Result<void> lowerSimdgroups(Lowering& lowering);

} // namespace compute::spirv
