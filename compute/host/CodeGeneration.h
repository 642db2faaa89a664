// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// From a canonical kernel to machine code in memory: vectorises it, adds the loop over threads,
// confines its accesses, and runs LLVM's code generator and the linker.
#pragma once

#include "compute/backend/SourceLocations.h"
#include "compute/host/code/MachineCode.h"
#include "compute/host/memory/PlaceVariables.h"
#include "compute/kernel/pipeline/Canonical.h"
#include "compute/target/HostTarget.h"

namespace compute::host {

/// How a kernel whose threads work together runs.
struct GroupLayout {
    bool worksInGroups = false;    ///< a tile is a threadgroup then, as KernelSignature.h says
    std::uint64_t vectorBytes = 0; ///< SplitAtBarriers.h
    unsigned lanes = 1;
};

struct GeneratedCode {
    MachineCode code;
    SourceLocations locations; ///< for the addresses that the code runs at
    unsigned hoistedBytes;     ///< size of the hoisted memory
    Placement placement;
    GroupLayout groups;
};

/// The entry points of the code, which ThreadLoop.h describes.
enum CodeEntry : unsigned { PrepareEntry, TileEntry };

/// Consumes the kernel's module. Thread-safe for different kernels.
platform::Result<GeneratedCode> generateCode(kernel::CanonicalKernel& kernel,
                                             const target::HostTarget& target,
                                             const kernel::CompilerOptions& options,
                                             const kernel::Dump* dump);

} // namespace compute::host
