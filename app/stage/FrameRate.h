// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The present frame rate.
#pragma once

#include "platform/Clock.h"
#include "platform/base/Fifo.h"

namespace app {

class FrameRate {
public:
    void frame(platform::Seconds now) {
        forget(now);
        m_times.push(platform::Seconds(now));
    }
    /// Frames in the second before `now`.
    int perSecond(platform::Seconds now) {
        forget(now);
        return static_cast<int>(m_times.size());
    }

private:
    void forget(platform::Seconds now) {
        while (!m_times.empty() && m_times.front() <= now - platform::Seconds(1))
            m_times.pop();
    }

    platform::Fifo<platform::Seconds> m_times;
};

} // namespace app
