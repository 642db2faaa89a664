// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Which threadgroups of a dispatch have how many threads. Those at the far edges of the grid have
// fewer, and workgroups of their own: all threads of a workgroup must come to its barriers.
#pragma once

#include "compute/types/Extent.h"

#include <cstdint>
#include <vector>

namespace compute::vulkan {

/// Threadgroups `first` to `last`, without that, counted through the rows and layers of the grid.
struct GroupRange {
    std::uint64_t first = 0;
    std::uint64_t last = 0;
    std::uint32_t threads = 0; ///< of each

    bool operator==(const GroupRange&) const = default;
};

/// Workgroups of `size` threads for as many `threads`, which are at least one.
std::uint32_t groupsFor(std::uint32_t threads, std::uint32_t size);

/// In order, as few as possible. Of the threads of each row, those from `begin` to `end` are asked
/// for; of a threadgroup that this cuts, all are given where its first thread is among them.
std::vector<GroupRange> groupRanges(Extent grid, Extent group, std::uint32_t begin,
                                    std::uint32_t end);

} // namespace compute::vulkan
