// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Something that is done on the main queue again and again.
#pragma once

#include "platform/MainQueue.h"

#include <chrono>
#include <functional>
#include <memory>

namespace platform {

/// Main thread. Counts real time. A tick that is late because the main thread was busy comes once,
/// however many it missed.
class Timer {
public:
    /// Says whether it wants to be called again. It may destroy the timer.
    using Tick = std::function<bool()>;

    /// The first tick comes after one `interval`, which is above 0. The queue must outlive the
    /// timer.
    Timer(MainQueue& queue, std::chrono::nanoseconds interval, Tick tick);
    /// No tick comes afterwards.
    ~Timer() = default;
    Timer(Timer&&) = default;
    Timer& operator=(Timer&&) = default;
    Timer(const Timer&) = delete;
    Timer& operator=(const Timer&) = delete;

    /// False once a tick has declined to be called again.
    bool isRunning() const { return !m_state->finished; }

private:
    struct State {
        MainQueue& queue;
        std::chrono::nanoseconds interval;
        Tick tick;
        std::chrono::steady_clock::time_point due;
        bool finished = false;
    };
    static void await(const std::shared_ptr<State>& state);

    std::shared_ptr<State> m_state;
};

} // namespace platform
