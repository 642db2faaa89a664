// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "tests/compute/host/Together.h"

#include "compute/memory/GuardedMemory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

namespace tests {

using namespace compute;

const std::string_view togetherHead = R"(
    kernel void k(device const uint* in, device uint* out,
                  uint3 at [[thread_position_in_grid]], uint3 grid [[threads_per_grid]],
                  uint i [[thread_index_in_threadgroup]], uint3 size [[threads_per_threadgroup]],
                  uint lane [[thread_index_in_simdgroup]]) {
        const uint place = (at.z * grid.y + at.y) * grid.x + at.x;
        const uint n = size.x * size.y * size.z;
)";

namespace {

std::uint32_t noise(std::uint32_t x) {
    x = (x ^ 61) ^ (x >> 16);
    x *= 9;
    x ^= x >> 4;
    x *= 0x27d4eb2d;
    return x ^ (x >> 15);
}

const Extent shapes[] = {{1, 1, 1}, {3, 1, 1}, {32, 1, 1}, {33, 1, 1},  {64, 1, 1}, {1024, 1, 1},
                         {8, 8, 1}, {7, 5, 1}, {4, 4, 4},  {1, 100, 1}, {2, 3, 5},  {1, 1, 64}};
const Extent grids[] = {{1, 1, 1}, {100, 1, 1}, {64, 64, 1}, {37, 21, 1}, {13, 9, 6}, {2049, 1, 1}};

std::string describe(Extent grid, Extent group) {
    const auto text = [](Extent e) {
        return std::to_string(e.width) + " x " + std::to_string(e.height) + " x " +
               std::to_string(e.depth);
    };
    return "grid " + text(grid) + ", threadgroup " + text(group);
}

/// Numbers of the grid's places by threadgroup and index in it.
std::vector<Words> placesOfGroups(Extent grid, Extent group) {
    std::vector<Words> groups;
    eachThread(grid, group, [&](const GroupThread& thread) {
        if (groups.size() <= thread.group)
            groups.resize(thread.group + 1);
        if (groups[thread.group].size() < thread.groupSize)
            groups[thread.group].resize(thread.groupSize);
        groups[thread.group][thread.index] = thread.place;
    });
    return groups;
}

void check(const TogetherCase& one, Extent grid, Extent group, const Kernel& kernel) {
    const std::size_t count = std::size_t{grid.width} * grid.height * grid.depth;
    Words in = noiseWords(count);
    Words out(count, 0xdead);
    Words expected(count);
    for (const Words& places : placesOfGroups(grid, group)) {
        Words values;
        for (const std::uint32_t place : places)
            values.push_back(in[place]);
        const Words results = one.apply(values);
        for (std::size_t i = 0; i < places.size(); ++i)
            expected[places[i]] = results[i];
    }
    runTogether(kernel, in, out, grid, group);
    for (std::size_t i = 0; i < count; ++i)
        ASSERT_EQ(out[i], expected[i]) << i;
}

} // namespace

Words noiseWords(std::size_t count) {
    Words words(count);
    for (std::size_t i = 0; i < count; ++i)
        words[i] = noise(static_cast<std::uint32_t>(i));
    return words;
}

void eachThread(Extent grid, Extent group, const std::function<void(const GroupThread&)>& visit) {
    const auto count = [](std::uint32_t all, std::uint32_t part) { return (all - 1) / part + 1; };
    const std::uint32_t columns = count(grid.width, group.width);
    const std::uint32_t rows = count(grid.height, group.height);
    for (std::uint32_t z = 0; z < grid.depth; ++z)
        for (std::uint32_t y = 0; y < grid.height; ++y)
            for (std::uint32_t x = 0; x < grid.width; ++x) {
                const auto size = [](std::uint32_t all, std::uint32_t part, std::uint32_t at) {
                    return std::min(part, all - at / part * part);
                };
                const std::uint32_t w = size(grid.width, group.width, x);
                const std::uint32_t h = size(grid.height, group.height, y);
                const std::uint32_t d = size(grid.depth, group.depth, z);
                visit({.place = (z * grid.height + y) * grid.width + x,
                       .index = (z % group.depth * h + y % group.height) * w + x % group.width,
                       .group =
                           (z / group.depth * rows + y / group.height) * columns + x / group.width,
                       .groupSize = w * h * d});
            }
}

void runTogether(const Kernel& kernel, const Words& in, Words& out, Extent grid, Extent group,
                 const std::function<void(Bindings&)>& prepare) {
    const auto copy = [](const Words& words) {
        auto made = memory::GuardedMemory::allocate(words.size() * sizeof(std::uint32_t));
        std::memcpy((*made)->data(), words.data(), words.size() * sizeof(std::uint32_t));
        return *made;
    };
    const auto source = copy(in);
    const auto target = copy(out);
    Bindings bindings;
    bindings.buffers[0] = source->data();
    bindings.buffers[1] = target->data();
    if (prepare)
        prepare(bindings);
    kernel.run(bindings, grid, group);
    std::memcpy(out.data(), target->data(), out.size() * sizeof(std::uint32_t));
}

void checkTogether(std::span<const TogetherCase> all) {
    for (const TogetherCase& one : all) {
        SCOPED_TRACE(one.name);
        const auto compiled =
            compile(programOf("void wait() { threadgroup_barrier(mem_flags::mem_threadgroup); }\n" +
                              std::string(togetherHead) + one.body + "}"));
        ASSERT_TRUE(compiled);
        for (const Extent group : shapes)
            for (const Extent grid : grids) {
                SCOPED_TRACE(describe(grid, group));
                check(one, grid, group, *compiled);
                if (testing::Test::HasFailure())
                    return;
            }
    }
}

} // namespace tests
