// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A counting semaphore for the main thread that goes on serving the main queue while it waits.
#pragma once

#include "platform/MainQueue.h"

namespace platform {

/// Both operations belong to the main thread: other threads signal through the main queue. A wait
/// that merely blocked would never end, because the signal that it waits for is a task of the very
/// queue that it keeps from running.
class Semaphore {
public:
    Semaphore(MainQueue& mainQueue, unsigned value) : m_mainQueue(mainQueue), m_value(value) {}

    /// Runs tasks of the main queue until the value is above 0, then takes one.
    void wait() {
        while (m_value == 0)
            m_mainQueue.waitAndRun();
        --m_value;
    }

    void signal() { ++m_value; }

    unsigned value() const { return m_value; }

private:
    MainQueue& m_mainQueue;
    unsigned m_value;
};

} // namespace platform
