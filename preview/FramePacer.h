// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// When frames are due.
#pragma once

#include "platform/Clock.h"

namespace starloom {

/// Keeps the average rate exact although timers only come near the time they were set to. Frames
/// that were missed are left out, never made up for.
class FramePacer {
public:
    using Seconds = platform::Seconds;

    /// Frames per second, above 0.
    void setRate(int rate) { m_period = Seconds(1.0 / rate); }
    /// Whether a frame is due; if so, the next one is planned.
    bool isDue(Seconds now);
    /// How long to wait until the next one; not negative.
    Seconds untilDue(Seconds now) const;

private:
    Seconds m_period{1.0 / 60};
    Seconds m_next{0};
};

} // namespace starloom
