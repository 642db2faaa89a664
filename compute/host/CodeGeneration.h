// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// From a canonical kernel to machine code in memory.
#pragma once

#include "compute/host/code/MachineCode.h"
#include "compute/host/locations/SourceLocations.h"
#include "compute/host/memory/PlaceVariables.h"
#include "compute/kernel/pipeline/Canonical.h"

namespace compute::host {

struct GeneratedCode {
    MachineCode code;
    SourceLocations places; ///< of the code where it lies
    unsigned commonBytes;   ///< of memory that the threads of a grid have in common
    Placement placement;
};

/// Numbers of the entries of the code; the functions of ThreadLoop.h.
enum CodeEntry : unsigned { PrepareEntry, TileEntry };

/// Empties the kernel's module. Calls on different threads do not disturb each other.
platform::Result<GeneratedCode> generateCode(kernel::CanonicalKernel& kernel,
                                             const kernel::Dump* dump);

} // namespace compute::host
