// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Runs kernels whose threads work together, and says what each threadgroup should have computed:
// grids and threadgroups of many shapes, thread by thread.
#pragma once

#include "tests/compute/host/CompiledText.h"

#include <cstdint>
#include <functional>
#include <span>
#include <string_view>
#include <vector>

namespace tests {

using Words = std::vector<std::uint32_t>;

Words noiseWords(std::size_t count);

/// A thread as the language numbers it.
struct GroupThread {
    std::uint32_t place;     ///< in the grid, x fastest
    std::uint32_t index;     ///< in its threadgroup
    std::uint32_t group;     ///< number of the threadgroup
    std::uint32_t groupSize; ///< threads in it
};

void eachThread(compute::Extent grid, compute::Extent group,
                const std::function<void(const GroupThread&)>& visit);

/// What the kernel of each case declares, and what its threads are given.
extern const std::string_view togetherHead;

struct TogetherCase {
    const char* name;
    const char* body;
    /// From what the threads of one threadgroup read to what they write.
    std::function<Words(const Words&)> apply;
};

/// Runs the case with every grid and shape of threadgroup; `wait()` is a barrier.
void checkTogether(std::span<const TogetherCase> all);

/// Runs with buffers in the region of kernels, where those of the service lie.
void runTogether(const compute::Kernel& kernel, const Words& in, Words& out, compute::Extent grid,
                 compute::Extent group,
                 const std::function<void(compute::Bindings&)>& prepare = {});

} // namespace tests
