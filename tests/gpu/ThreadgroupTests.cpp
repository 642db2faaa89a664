// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Threads that work together: memory that a threadgroup shares, barriers, functions of SIMD-groups,
// in grids that do not divide into whole threadgroups.
#include "tests/gpu/DeviceTest.h"

#include <algorithm>
#include <numeric>

using gpu::Extent;
using gpu::StorageMode;

namespace test {
namespace {

using Values = std::vector<std::uint32_t>;

/// The threads of a threadgroup by their index there, as numbers of a grid's row after row.
Values threadsOf(Extent grid, Extent group, std::uint32_t column, std::uint32_t row) {
    Values threads;
    for (std::uint32_t y = row * group.height; y < std::min((row + 1) * group.height, grid.height);
         ++y)
        for (std::uint32_t x = column * group.width;
             x < std::min((column + 1) * group.width, grid.width); ++x)
            threads.push_back(y * grid.width + x);
    return threads;
}

class ThreadgroupTest : public DeviceTest {
protected:
    Values runOver(const std::shared_ptr<gpu::ComputePipelineState>& kernel, Extent grid,
                   Extent group, const std::vector<std::size_t>& lengths = {}) {
        const auto buffer =
            device->makeBuffer(std::size_t{grid.width} * grid.height * 4 + 4, StorageMode::Shared);
        expectCompleted(*run([&](gpu::ComputeCommandEncoder& encoder) {
            encoder.setComputePipelineState(kernel);
            encoder.setBuffer(buffer, 0, 0);
            for (std::uint32_t i = 0; i < lengths.size(); ++i)
                encoder.setThreadgroupMemoryLength(lengths[i], i);
            encoder.dispatchThreads(grid, group);
        }));
        return valuesIn<std::uint32_t>(buffer);
    }

    /// What each thread should have stored, from `expected(threads, index)`: the threads of its
    /// threadgroup, and its index among them.
    template <class Expected>
    static Values expectedOver(Extent grid, Extent group, const Expected& expected) {
        Values values(std::size_t{grid.width} * grid.height + 1);
        for (std::uint32_t row = 0; row * group.height < grid.height; ++row)
            for (std::uint32_t column = 0; column * group.width < grid.width; ++column) {
                const Values threads = threadsOf(grid, group, column, row);
                for (std::uint32_t i = 0; i < threads.size(); ++i)
                    values[threads[i]] = expected(threads, i);
            }
        return values;
    }
};
SL42_ON_EVERY_DEVICE(ThreadgroupTest);

struct Division {
    Extent grid;
    Extent group;
};
constexpr Division divisions[] = {{{1000, 1, 1}, {64, 1, 1}}, {{1000, 1, 1}, {7, 1, 1}},
                                  {{33, 1, 1}, {1, 1, 1}},    {{2049, 1, 1}, {1024, 1, 1}},
                                  {{37, 13, 1}, {8, 4, 1}},   {{5, 41, 1}, {3, 30, 1}},
                                  {{31, 31, 1}, {32, 32, 1}}};

TEST_P(ThreadgroupTest, MemoryIsSharedAcrossBarriers) {
    const auto kernel = pipeline(R"(
        kernel void run(device uint* data [[buffer(0)]], threadgroup uint* numbers [[threadgroup(0)]],
                        threadgroup ushort* indices [[threadgroup(1)]],
                        uint2 p [[thread_position_in_grid]], uint2 size [[threads_per_grid]],
                        uint2 group [[threads_per_threadgroup]],
                        uint i [[thread_index_in_threadgroup]]) {
            threadgroup atomic_uint total; // zero at first
            uint count = group.x * group.y;
            uint number = p.y * size.x + p.x;
            numbers[i] = number;
            indices[count - 1 - i] = ushort(i);
            threadgroup_barrier(mem_flags::mem_threadgroup);
            uint across = numbers[indices[i]];
            threadgroup_barrier(mem_flags::mem_threadgroup);
            numbers[i] = across + 1;
            atomic_fetch_add_explicit(&total, number & 0xff, memory_order_relaxed);
            threadgroup_barrier(mem_flags::mem_threadgroup);
            data[number] = numbers[(i + 1) % count] * 3 +
                           (atomic_load_explicit(&total, memory_order_relaxed) << 16);
        })");
    for (const auto& [grid, group] : divisions) {
        const std::size_t threads = std::size_t{group.width} * group.height;
        const Values expected =
            expectedOver(grid, group, [](const Values& together, std::uint32_t i) {
                const auto count = static_cast<std::uint32_t>(together.size());
                std::uint32_t total = 0;
                for (const std::uint32_t number : together)
                    total += number & 0xff;
                return (together[count - 1 - (i + 1) % count] + 1) * 3 + (total << 16);
            });
        EXPECT_TRUE(runOver(kernel, grid, group, {threads * 4, threads * 2}) == expected)
            << grid.width << " x " << grid.height << " in " << group.width << " x " << group.height;
    }
}

TEST_P(ThreadgroupTest, FunctionsOfSimdGroupsCountTheThreadsThatAreThere) {
    constexpr std::uint32_t width = 32;
    const auto kernel = pipeline(R"(
        kernel void run(device uint* data [[buffer(0)]], uint2 p [[thread_position_in_grid]],
                        uint2 size [[threads_per_grid]], uint lane [[thread_index_in_simdgroup]],
                        uint group [[simdgroup_index_in_threadgroup]],
                        uint threads [[threads_per_simdgroup]]) {
            uint number = p.y * size.x + p.x;
            uint found = simd_sum(number) + 3 * simd_prefix_exclusive_sum(number) +
                         5 * simd_broadcast_first(number) + 7 * lane + 11 * group + 13 * threads;
            if ((number & 1) != 0) // half of them
                found += 17 * simd_max(number);
            data[number] = found;
        })");
    for (const auto& [grid, group] : divisions) {
        const Values expected =
            expectedOver(grid, group, [](const Values& together, std::uint32_t i) {
                const std::uint32_t first = i / width * width;
                const auto begin = together.begin() + first;
                const auto end = together.begin() +
                                 std::min<std::ptrdiff_t>(first + width, std::ssize(together));
                std::uint32_t found = std::accumulate(begin, end, 0U) +
                                      3 * std::accumulate(begin, together.begin() + i, 0U) +
                                      5 * *begin + 7 * (i % width) + 11 * (i / width) + 13 * width;
                if (together[i] % 2 == 1) {
                    std::uint32_t largest = 0;
                    std::for_each(begin, end, [&](std::uint32_t number) {
                        largest = number % 2 == 1 ? std::max(largest, number) : largest;
                    });
                    found += 17 * largest;
                }
                return found;
            });
        EXPECT_TRUE(runOver(kernel, grid, group) == expected)
            << grid.width << " x " << grid.height << " in " << group.width << " x " << group.height;
    }
}

} // namespace
} // namespace test
