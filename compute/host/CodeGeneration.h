// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// From a canonical kernel to machine code in memory.
#pragma once

#include "compute/host/MachineCode.h"
#include "compute/kernel/Canonical.h"

namespace compute::host {

/// The entry of the result is the tile function of ThreadLoop.h. Empties the kernel's module. Calls
/// on different threads do not disturb each other.
platform::Result<MachineCode> generateCode(kernel::CanonicalKernel& kernel,
                                           const kernel::Dump* dump);

} // namespace compute::host
