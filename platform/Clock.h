// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Where the console takes its time from: the machine's clock in a window, a clock that is set by
// hand when frames are rendered to files or tests want to be exact.
#pragma once

#include <chrono>

namespace platform {

using Seconds = std::chrono::duration<double>;

class Clock {
public:
    virtual ~Clock() = default;
    /// Time since some fixed moment. Never goes backwards.
    virtual Seconds now() const = 0;
};

/// Real time; unmoved by corrections of the calendar clock. Any thread.
class SystemClock final : public Clock {
public:
    Seconds now() const override { return std::chrono::steady_clock::now().time_since_epoch(); }
};

/// Stands still until it is set. One thread.
class ManualClock final : public Clock {
public:
    Seconds now() const override { return m_now; }
    void set(Seconds now) { m_now = now; }
    void advance(Seconds step) { m_now += step; }

private:
    Seconds m_now{0};
};

} // namespace platform
