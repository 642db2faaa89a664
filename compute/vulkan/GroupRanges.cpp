// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/vulkan/GroupRanges.h"

#include <algorithm>

namespace compute::vulkan {
namespace {

/// Of the threadgroup with this number along an axis.
std::uint32_t sizeAt(std::uint32_t all, std::uint32_t size, std::uint32_t number) {
    return static_cast<std::uint32_t>(
        std::min<std::uint64_t>(size, all - std::uint64_t{number} * size));
}

void add(std::vector<GroupRange>& ranges, const GroupRange& next) {
    if (next.first >= next.last)
        return;
    if (!ranges.empty() && ranges.back().last == next.first &&
        ranges.back().threads == next.threads)
        ranges.back().last = next.last;
    else
        ranges.push_back(next);
}

} // namespace

std::uint32_t groupsFor(std::uint32_t threads, std::uint32_t size) {
    return (threads - 1) / size + 1;
}

std::vector<GroupRange> groupRanges(Extent grid, Extent group, std::uint32_t begin,
                                    std::uint32_t end) {
    const std::uint32_t columns = groupsFor(grid.width, group.width);
    const std::uint32_t full = grid.width / group.width;
    const std::uint32_t first = begin == 0 ? 0 : groupsFor(begin, group.width);
    const std::uint32_t last = groupsFor(end, group.width);
    std::vector<GroupRange> ranges;
    std::uint64_t row = 0; // its first threadgroup
    for (std::uint32_t z = 0; z < groupsFor(grid.depth, group.depth); ++z)
        for (std::uint32_t y = 0; y < groupsFor(grid.height, group.height); ++y, row += columns) {
            const std::uint32_t others =
                sizeAt(grid.height, group.height, y) * sizeAt(grid.depth, group.depth, z);
            add(ranges, {row + first, row + std::min(full, last), group.width * others});
            add(ranges, {row + std::max(first, full), row + last,
                         sizeAt(grid.width, group.width, full) * others});
        }
    return ranges;
}

} // namespace compute::vulkan
