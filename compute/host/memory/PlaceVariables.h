// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Decides where a kernel's private arrays and constant tables lie. Those whose accesses provably
// stay inside remain on the stack and in the code's read-only data. The others, such as those whose
// address escapes, move into the region of kernels, where a wrong pointer does no harm: arrays to a
// frame for each worker, tables to one image for the kernel. Return addresses and spilled registers
// remain on the stack, where no such pointer leads.
#pragma once

#include "compute/host/memory/TableImage.h"
#include "platform/base/Result.h"

#include <llvm/IR/Module.h>

#include <span>

namespace compute::host {

/// A kernel's memory besides its buffers. The generated functions get a pointer to this record.
struct KernelMemory {
    std::byte* frame = nullptr;  ///< of this worker; aligned to a page
    std::byte* tables = nullptr; ///< the image of the tables
    /// What the threads of a threadgroup share; then the memory of the threadgroup arguments.
    std::byte* shared = nullptr;
    std::byte* vectors = nullptr; ///< frames of the threads of a threadgroup (SplitAtBarriers.h)
};

struct Placement {
    std::uint64_t frameBytes = 0;
    std::uint64_t sharedBytes = 0; ///< of a threadgroup; where its arguments begin
    TableImage tables;
};

/// `memory`: the parameter for KernelMemory of each entry point. The functions that they call are
/// given such a parameter where they need one.
platform::Result<Placement> placeVariables(llvm::Module& module,
                                           std::span<llvm::Argument* const> memory);

} // namespace compute::host
