// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What is known of pipelines and programs from the runs of the service, and what follows when the
// service fails with them: a kernel that has long done well is tried again, and a program is not
// suspected because somebody else ended the service.
#pragma once

#include <array>
#include <chrono>
#include <optional>

namespace gpu::host {

/// A pipeline that has run without a fault for so long, from its first good job on, has proven
/// itself. One constant, which tests make shorter.
inline constexpr std::chrono::milliseconds defaultProvingTime = std::chrono::seconds(60);

/// How a pipeline has done.
class TrackRecord {
public:
    using Clock = std::chrono::steady_clock;

    void jobCompleted(Clock::time_point now);
    /// A job failed because of the pipeline. True when it is to be stopped: at once, unless it has
    /// proven itself; then at the third failure within ten seconds or in a row.
    bool jobFailed(Clock::time_point now, Clock::duration provingTime);
    /// The service made no progress with it. True when that was so the last time, too.
    bool jobStalled();

private:
    static constexpr unsigned maxFailures = 3;

    std::optional<Clock::time_point> m_firstCompleted;
    /// The latest, the oldest first.
    std::array<std::optional<Clock::time_point>, maxFailures> m_failures;
    unsigned m_failuresInARow = 0;
    bool m_stalled = false;
};

/// What lost services give reason to think of something that they were compiling.
class Suspicion {
public:
    /// Whether a service was lost with it and others, so that it must be tried without them.
    bool mustBeAlone() const { return m_mustBeAlone; }
    /// The service ended without a reason while it was at this, among others.
    void lostAmongOthers() { m_mustBeAlone = true; }
    // The service was at this and no other compilation. True when this is the cause.

    /// It ended by itself, and was at nothing else.
    bool lostAlone() { return add(conviction); }
    /// It made no progress.
    bool stalledAlone() { return add(conviction / 2); }
    /// It ended while it was at a command buffer, too, or was killed when it had worked on this
    /// for a while: so ends a compiler that takes all memory.
    bool lostPerhaps() { return add(conviction / 2); }
    /// It was killed soon: by somebody else, most probably. Nothing goes on for ever, though.
    bool killed() { return add(1); }

private:
    static constexpr unsigned conviction = 200;

    bool add(unsigned weight);

    bool m_mustBeAlone = false;
    unsigned m_weight = 0;
};

} // namespace gpu::host
