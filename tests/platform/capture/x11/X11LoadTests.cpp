// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What capturing takes: processor time, memory, descriptors and threads.
#include "tests/platform/capture/Recording.h"
#include "tests/platform/capture/x11/X11Desktop.h"

#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <chrono>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <thread>

namespace platform::tests {
namespace {

using Manager = X11Desktop::Manager;
using std::chrono::milliseconds;

double millisecondsOf(clockid_t clock) {
    timespec time{};
    ::clock_gettime(clock, &time);
    return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) * 1e-6;
}

std::size_t entriesIn(const char* folder) {
    const std::filesystem::directory_iterator all(folder);
    return static_cast<std::size_t>(std::distance(begin(all), end(all)));
}

/// KiB of memory that is in use, shared memory included.
std::size_t residentMemory() {
    std::ifstream status("/proc/self/statm");
    std::size_t total = 0;
    std::size_t resident = 0;
    status >> total >> resident;
    return resident * 4;
}

} // namespace

TEST(X11Load, TakesLittleOfTheProcessor) {
    X11Desktop desktop(Manager::None, {.width = 1600, .height = 1200, .paints = false},
                       {"-screen", "0", "1920x1400x24"});
    std::atomic<unsigned> count = 0;
    std::atomic<clockid_t> clock{};
    desktop.capture().start(
        desktop.window(), 60,
        [&](const CapturedPicture& picture) {
            EXPECT_EQ(picture.width, 1600U);
            clockid_t own{};
            ::pthread_getcpuclockid(::pthread_self(), &own);
            clock = own;
            ++count;
        },
        [](const CaptureEvent&) {});
    ASSERT_TRUE(waitUntil([&] { return count == 1; }));
    const double before = millisecondsOf(clock);
    constexpr unsigned pictures = 40;
    for (std::uint32_t colour = 1; count <= pictures; ++colour) {
        desktop.client().fill(colour, {0, 0, 1600, 1200});
        std::this_thread::sleep_for(milliseconds(5));
    }
    const double taken = (millisecondsOf(clock) - before) / pictures;
    std::cout << "processor time of the stream: " << taken << " ms a picture of 1600 x 1200\n";
    EXPECT_LT(taken, 2);

    auto last = count.load();
    ASSERT_TRUE(waitUntil([&] { // until the last picture has come
        std::this_thread::sleep_for(milliseconds(100));
        return std::exchange(last, count.load()) == count;
    }));
    const double still = millisecondsOf(clock);
    std::this_thread::sleep_for(milliseconds(300));
    EXPECT_EQ(millisecondsOf(clock), still) << "while nothing changes";
    desktop.capture().stop();
}

TEST(X11Load, KeepsNothing) {
    X11Desktop desktop(Manager::None, {.border = 1});
    const auto use = [&](std::uint32_t round) {
        Recording told;
        told.start(desktop.capture(), desktop.window());
        desktop.resize(500 + round % 7 * 40, 300, round);
        EXPECT_TRUE(told.shows(round, 500 + round % 7 * 40, 300));
        desktop.capture().stop();
        EXPECT_EQ(desktop.picture().height, 300U);
        EXPECT_EQ(desktop.capture().windows()->size(), 1U);
    };
    for (std::uint32_t round = 0; round < 10; ++round)
        use(round);
    const auto memory = residentMemory();
    const auto descriptors = entriesIn("/proc/self/fd");
    const auto threads = entriesIn("/proc/self/task");
    for (std::uint32_t round = 10; round < 25; ++round)
        use(round);
    EXPECT_EQ(entriesIn("/proc/self/fd"), descriptors);
    EXPECT_EQ(entriesIn("/proc/self/task"), threads);
#if !(__has_feature(address_sanitizer) ||                                                          \
      __has_feature(thread_sanitizer)) // they keep what is freed
    EXPECT_LT(residentMemory(), memory + 2048) << "KiB";
#else
    static_cast<void>(memory);
#endif
}

} // namespace platform::tests
