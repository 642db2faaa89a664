// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Ends a test program in which something that was promised does not come: a completion that is lost
// then costs one test and two minutes, and not the time of the whole suite.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <thread>

namespace tests {

/// Of the test that is running, from its construction to its destruction. Its thread takes no
/// memory, since some tests count what is taken.
class Deadline {
public:
    explicit Deadline(std::chrono::seconds limit = std::chrono::seconds(120))
        : m_thread([this, limit] { watch(limit); }) {}
    ~Deadline() {
        {
            const std::scoped_lock lock(m_mutex);
            m_isOver = true;
        }
        m_over.notify_one();
        m_thread.join();
    }
    Deadline(const Deadline&) = delete;
    Deadline& operator=(const Deadline&) = delete;

private:
    void watch(std::chrono::seconds limit) {
        std::unique_lock lock(m_mutex);
        if (m_over.wait_for(lock, limit, [this] { return m_isOver; }))
            return;
        const auto* test = testing::UnitTest::GetInstance()->current_test_info();
        std::fprintf(stderr, "%s.%s waits for something that does not come\n",
                     test != nullptr ? test->test_suite_name() : "?",
                     test != nullptr ? test->name() : "?");
        std::_Exit(1);
    }

    std::mutex m_mutex;
    std::condition_variable m_over;
    bool m_isOver = false;
    std::thread m_thread; // last, so that it finds the rest
};

} // namespace tests
