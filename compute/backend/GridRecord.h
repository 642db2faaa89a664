// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What a kernel is told of the grid that it runs for, in the layout that kernel/KernelSignature.h
// describes.
#pragma once

#include "compute/backend/Kernel.h"

namespace compute {

struct GridRecord {
    Extent grid;
    Extent group;
    /// Where the memory of each threadgroup argument begins, in bytes.
    std::array<std::uint32_t, maxThreadgroupMemories> arguments{};
};

/// With the threadgroup arguments that the bindings name, one after the other. At most
/// maxThreadgroupBytes of them; what has no room begins at the end.
GridRecord gridRecordOf(const Bindings& bindings, Extent grid, Extent threadsPerThreadgroup);

/// Bytes that they take together.
std::uint32_t threadgroupArgumentBytes(const Bindings& bindings);

} // namespace compute
