// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// From a canonical kernel to machine code in memory: vectorises it, adds the loop over threads,
// confines its accesses, and runs LLVM's code generator and the linker.
#pragma once

#include "compute/host/code/MachineCode.h"
#include "compute/host/locations/SourceLocations.h"
#include "compute/host/memory/PlaceVariables.h"
#include "compute/kernel/pipeline/Canonical.h"

namespace compute::host {

struct GeneratedCode {
    MachineCode code;
    SourceLocations places; ///< for the addresses that the code runs at
    unsigned hoistedBytes;  ///< size of the hoisted memory
    Placement placement;
};

/// The entry points of the code, which ThreadLoop.h describes.
enum CodeEntry : unsigned { PrepareEntry, TileEntry };

/// Consumes the kernel's module. Thread-safe for different kernels.
platform::Result<GeneratedCode> generateCode(kernel::CanonicalKernel& kernel,
                                             const kernel::Dump* dump);

} // namespace compute::host
