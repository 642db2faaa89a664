// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "gpu/host/TrackRecord.h"

#include <algorithm>
#include <utility>

namespace gpu::host {

using namespace std::chrono_literals;

void TrackRecord::jobCompleted(Clock::time_point now) {
    if (!m_firstCompleted)
        m_firstCompleted = now;
    m_failuresInARow = 0;
    m_stalled = false;
}

bool TrackRecord::jobFailed(Clock::time_point now, Clock::duration provingTime) {
    constexpr auto period = 10s;
    std::ranges::rotate(m_failures, m_failures.begin() + 1);
    m_failures.back() = now;
    ++m_failuresInARow;
    m_stalled = false;
    if (!m_firstCompleted || now - *m_firstCompleted < provingTime)
        return true;
    const auto oldest = m_failures.front();
    // On a busy machine three time limits take longer than ten seconds.
    return m_failuresInARow >= maxFailures || (oldest && now - *oldest <= period);
}

bool TrackRecord::jobStalled() {
    return std::exchange(m_stalled, true);
}

bool Suspicion::add(unsigned weight) {
    m_mustBeAlone = true;
    m_weight += weight;
    return m_weight >= conviction;
}

} // namespace gpu::host
