// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "preview/FramePacer.h"

#include <algorithm>

namespace starloom {

// Timers count in milliseconds, so a tick may come almost one of them early.
static constexpr platform::Seconds tolerance{0.001};

bool FramePacer::isDue(Seconds now) {
    if (now < m_next - tolerance)
        return false;
    m_next += m_period;
    if (m_next <= now)
        m_next = now + m_period;
    return true;
}

platform::Seconds FramePacer::untilDue(Seconds now) const {
    return std::max(m_next - now, Seconds(0));
}

} // namespace starloom
