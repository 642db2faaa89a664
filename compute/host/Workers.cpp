// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/host/Workers.h"

#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>
#include <tbb/task_arena.h>

#include <atomic>
#include <chrono>
#include <thread>

namespace compute::host {

void runOnAllCores(std::uint32_t count,
                   const std::function<void(std::uint32_t first, std::uint32_t last)>& work) {
    using Range = tbb::blocked_range<std::uint32_t>;
    tbb::parallel_for(
        Range(0, count), [&](const Range& range) { work(range.begin(), range.end()); },
        tbb::auto_partitioner());
}

void startWorkers() {
    const int count = tbb::this_task_arena::max_concurrency();
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(1);
    std::atomic<int> present = 0;
    // Each task waits for the others, so that no thread can take two of them.
    tbb::parallel_for(
        0, count,
        [&](int) {
            ++present;
            while (present < count && std::chrono::steady_clock::now() < deadline)
                std::this_thread::yield();
        },
        tbb::static_partitioner());
}

} // namespace compute::host
