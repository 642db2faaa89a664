// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/vulkan/GroupRanges.h"

#include <gtest/gtest.h>

#include <random>

namespace {

using namespace compute;

/// Counts the threads of every threadgroup, one by one.
std::vector<vulkan::GroupRange> oneByOne(Extent grid, Extent group, std::uint32_t begin,
                                         std::uint32_t end) {
    std::vector<vulkan::GroupRange> ranges;
    std::uint64_t number = 0;
    for (std::uint32_t z = 0; z < grid.depth; z += group.depth)
        for (std::uint32_t y = 0; y < grid.height; y += group.height)
            for (std::uint32_t x = 0; x < grid.width; x += group.width, ++number)
                if (x >= begin && x < end)
                    ranges.push_back({number, number + 1,
                                      std::min(group.width, grid.width - x) *
                                          std::min(group.height, grid.height - y) *
                                          std::min(group.depth, grid.depth - z)});
    return ranges;
}

TEST(GroupRanges, HaveEveryThreadgroupWithItsThreads) {
    std::mt19937 random(42);
    const auto upTo = [&](std::uint32_t most) {
        return std::uniform_int_distribution<std::uint32_t>(1, most)(random);
    };
    for (int i = 0; i < 3000; ++i) {
        const Extent grid{upTo(20), upTo(6), upTo(4)};
        const Extent group{upTo(20), upTo(4), upTo(3)};
        const std::uint32_t begin = upTo(grid.width) - 1;
        const std::uint32_t end = begin + upTo(grid.width - begin);
        std::vector<vulkan::GroupRange> found;
        const auto ranges = vulkan::groupRanges(grid, group, begin, end);
        for (std::size_t r = 0; r < ranges.size(); ++r) {
            EXPECT_TRUE(r == 0 || ranges[r - 1].last < ranges[r].first ||
                        ranges[r - 1].threads != ranges[r].threads);
            for (std::uint64_t number = ranges[r].first; number < ranges[r].last; ++number)
                found.push_back({number, number + 1, ranges[r].threads});
        }
        EXPECT_EQ(found, oneByOne(grid, group, begin, end))
            << grid.width << "x" << grid.height << "x" << grid.depth << " by " << group.width << "x"
            << group.height << "x" << group.depth << " from " << begin << " to " << end;
    }
}

} // namespace
