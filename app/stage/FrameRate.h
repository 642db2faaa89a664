// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// How many frames there were of late.
#pragma once

#include "platform/Clock.h"

#include <deque>

namespace app {

class FrameRate {
public:
    void frame(platform::Seconds now) {
        forget(now);
        m_times.push_back(now);
    }
    /// Frames in the second before `now`.
    int perSecond(platform::Seconds now) {
        forget(now);
        return static_cast<int>(m_times.size());
    }

private:
    void forget(platform::Seconds now) {
        while (!m_times.empty() && m_times.front() <= now - platform::Seconds(1))
            m_times.pop_front();
    }

    std::deque<platform::Seconds> m_times;
};

} // namespace app
