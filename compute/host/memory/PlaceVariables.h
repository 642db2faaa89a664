// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Divides a kernel's private arrays and constant tables between two places. Those that no access
// can leave stay with the code: on the stack and in its read-only data. The others, whose address
// is stored or computed with, move into the region of kernels, where a wrong pointer does no harm:
// arrays to a frame that each worker has, tables to one place for the whole kernel. Return
// addresses and spilled registers remain on the stack, out of the reach of any pointer.
#pragma once

#include "compute/host/memory/TableImage.h"
#include "platform/base/Result.h"

#include <llvm/IR/Module.h>

#include <span>

namespace compute::host {

/// Memory that a kernel has besides its buffers: the record that its functions get a pointer to.
struct KernelMemory {
    std::byte* frame = nullptr;  ///< of this worker; aligned to a page
    std::byte* tables = nullptr; ///< the image of the tables
};

struct Placement {
    std::uint64_t frameBytes = 0;
    TableImage tables;
};

/// `memory`: parameters by which the kernel's entries know their KernelMemory. Functions that they
/// call get one, too, where they need it.
platform::Result<Placement> placeVariables(llvm::Module& module,
                                           std::span<llvm::Argument* const> memory);

} // namespace compute::host
