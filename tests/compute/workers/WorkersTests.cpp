// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/workers/Workers.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

namespace {

using namespace compute;

/// How often each number was done.
std::vector<int> timesDone(std::uint32_t count) {
    std::vector<int> times(count, 0);
    workers::run(count, [&](std::uint32_t first, std::uint32_t last) {
        for (std::uint32_t i = first; i < last; ++i)
            ++times[i];
    });
    return times;
}

TEST(WorkersTests, EveryNumberIsDoneOnceByTheTimeItReturns) {
    for (const std::uint32_t count : {0u, 1u, 2u, 3u, 270u, 100'000u})
        for (int repetition = 0; repetition < 200; ++repetition)
            ASSERT_EQ(timesDone(count), std::vector(count, 1)) << count;
}

TEST(WorkersTests, WorkThatFollowsAPauseIsDoneToo) {
    for (const int microseconds : {10, 100, 110, 1000, 5000})
        for (int repetition = 0; repetition < 10; ++repetition) {
            std::this_thread::sleep_for(std::chrono::microseconds(microseconds));
            ASSERT_EQ(timesDone(50), std::vector(50, 1)) << microseconds;
        }
}

TEST(WorkersTests, SeveralThreadsMayAskAtOnceAndWorkMayAskForMore) {
    std::atomic<int> done = 0;
    const auto ask = [&] {
        for (int repetition = 0; repetition < 100; ++repetition)
            workers::run(20, [&](std::uint32_t first, std::uint32_t last) {
                workers::run(last - first, [&](std::uint32_t from, std::uint32_t to) {
                    done += static_cast<int>(to - from);
                });
            });
    };
    {
        const std::jthread second(ask);
        const std::jthread third(ask);
        ask();
    }
    EXPECT_EQ(done, 3 * 100 * 20);
}

TEST(WorkersTests, EveryCoreTakesPartInLongWork) {
    std::atomic<unsigned> present = 0;
    const unsigned cores = std::thread::hardware_concurrency();
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    // Each waits for the others, so that no thread can take two of them.
    workers::run(cores, [&](std::uint32_t, std::uint32_t) {
        ++present;
        while (present < cores && std::chrono::steady_clock::now() < deadline)
            std::this_thread::yield();
    });
    EXPECT_EQ(present, cores);
}

} // namespace
