// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Ends a test program in which something that was promised does not come: a completion that is lost
// then costs one test and a minute, and not the time of the whole suite.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <thread>

namespace tests {

/// Of the test that is running, from its construction to its destruction.
class Deadline {
public:
    explicit Deadline(std::chrono::seconds limit = std::chrono::seconds(120))
        : m_thread([limit](const std::stop_token& stop) { watch(stop, limit); }) {}

private:
    static void watch(const std::stop_token& stop, std::chrono::seconds limit) {
        std::mutex mutex;
        std::condition_variable_any never;
        std::unique_lock lock(mutex);
        never.wait_for(lock, stop, limit, [] { return false; });
        if (stop.stop_requested())
            return;
        const auto* test = testing::UnitTest::GetInstance()->current_test_info();
        std::fprintf(stderr, "%s.%s waits for something that does not come\n",
                     test != nullptr ? test->test_suite_name() : "?",
                     test != nullptr ? test->name() : "?");
        std::_Exit(1);
    }

    std::jthread m_thread;
};

} // namespace tests
