// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Every thread of a grid runs exactly once and knows where it is; how the grid is divided cannot be
// seen.
#include "tests/gpu/DeviceTest.h"

#include <array>

using gpu::Extent;
using gpu::StorageMode;

namespace test {
namespace {

using Three = std::array<std::uint32_t, 3>;

class GridTest : public DeviceTest {
protected:
    std::vector<std::uint32_t> runOver(const std::shared_ptr<gpu::ComputePipelineState>& kernel,
                                       Extent grid, Extent group, std::size_t count) {
        const auto buffer = device->makeBuffer(count * 4, StorageMode::Shared);
        expectCompleted(*run([&](gpu::ComputeCommandEncoder& encoder) {
            encoder.setComputePipelineState(kernel);
            encoder.setBuffer(buffer, 0, 0);
            encoder.dispatchThreads(grid, group);
        }));
        return valuesIn<std::uint32_t>(buffer);
    }
};
SL42_ON_EVERY_DEVICE(GridTest);

TEST_P(GridTest, EveryThreadRunsOnce) {
    const auto kernel = pipeline(
        "kernel void run(device uint* data [[buffer(0)]], uint3 p [[thread_position_in_grid]],"
        " uint3 n [[threads_per_grid]])"
        " { data[(p.z * n.y + p.y) * n.x + p.x] += 1 + p.x + 1000 * p.y + 1000000 * p.z; }");
    for (const Extent grid : {Extent{1, 1, 1},
                              {7, 1, 1},
                              {4096, 1, 1},
                              {100'003, 1, 1},
                              {768'000, 1, 1},
                              {960, 540, 1},
                              {31, 17, 5},
                              {3000, 3, 2},
                              {1, 1000, 1},
                              {1, 1, 77},
                              {2049, 2, 1},
                              {7, 0, 1}}) {
        std::vector<std::uint32_t> expected;
        for (std::uint32_t z = 0; z < grid.depth; ++z)
            for (std::uint32_t y = 0; y < grid.height; ++y)
                for (std::uint32_t x = 0; x < grid.width; ++x)
                    expected.push_back(1 + x + 1000 * y + 1'000'000 * z);
        expected.push_back(0); // past the end
        EXPECT_TRUE(runOver(kernel, grid, {16, 4, 1}, expected.size()) == expected)
            << grid.width << " x " << grid.height << " x " << grid.depth;
    }
}

/// What the attributes of the thread at a place should be, in the order in which they are stored.
std::vector<Three> attributesAt(const Three& place, const Three& grid, const Three& group) {
    std::vector<Three> values(6);
    for (std::size_t axis = 0; axis < 3; ++axis) {
        const std::uint32_t number = place[axis] / group[axis];
        values[0][axis] = place[axis];
        values[1][axis] = grid[axis];
        values[2][axis] = place[axis] % group[axis];
        values[3][axis] = number;
        values[4][axis] = std::min(group[axis], grid[axis] - number * group[axis]);
        values[5][axis] = (grid[axis] + group[axis] - 1) / group[axis];
    }
    const auto& [inside, size] = std::pair(values[2], values[4]);
    values.push_back({(inside[2] * size[1] + inside[1]) * size[0] + inside[0], 0, 0});
    return values;
}

// Stores its attributes, all of type T, for each thread of a grid of 7 x 5 x 3.
const std::string storeAttributes = R"(
    uint3 wide(uint v) { return uint3(v, 0, 0); }
    uint3 wide(uint2 v) { return uint3(v, 0); }
    uint3 wide(uint3 v) { return v; }
    uint3 wide(ushort v) { return wide(uint(v)); }
    uint3 wide(ushort2 v) { return wide(uint2(v)); }
    uint3 wide(ushort3 v) { return wide(uint3(v)); }
    kernel void run(device packed_uint3* all [[buffer(0)]], T a [[thread_position_in_grid]],
                    T b [[threads_per_grid]], T c [[thread_position_in_threadgroup]],
                    T d [[threadgroup_position_in_grid]], T e [[threads_per_threadgroup]],
                    T f [[threadgroups_per_grid]], uint g [[thread_index_in_threadgroup]],
                    uint3 p [[thread_position_in_grid]]) {
        const uint3 values[] = {wide(a), wide(b), wide(c), wide(d), wide(e), wide(f), wide(g)};
        for (uint i = 0; i < 7; ++i)
            all[((p.z * 5 + p.y) * 7 + p.x) * 7 + i] = values[i];
    })";

TEST_P(GridTest, AttributesSayWhereAThreadIs) {
    constexpr Three grid{7, 5, 3}; // the groups at its far sides are cut off
    constexpr Three group{4, 2, 2};
    constexpr std::uint32_t threads = 7 * 5 * 3;
    const std::pair<const char*, std::size_t> types[] = {
        {"uint", 1}, {"uint2", 2}, {"uint3", 3}, {"ushort", 1}, {"ushort2", 2}, {"ushort3", 3}};
    for (const auto& [type, components] : types) {
        const auto kernel = pipeline("#define T " + std::string(type) + storeAttributes);
        const auto out = runOver(kernel, {7, 5, 3}, {4, 2, 2}, std::size_t{threads} * 7 * 3);
        const std::uint32_t* value = out.data();
        for (std::uint32_t thread = 0; thread < threads; ++thread) {
            const Three place{thread % 7, thread / 7 % 5, thread / 35};
            for (const Three& expected : attributesAt(place, grid, group))
                for (std::size_t axis = 0; axis < 3; ++axis)
                    EXPECT_EQ(*value++, axis < components ? expected[axis] : 0)
                        << type << " of thread " << thread << ", axis " << axis;
        }
    }
}

} // namespace
} // namespace test
