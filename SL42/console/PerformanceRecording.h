// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Records the performance of one console: every program that it takes over, and what each of its
// frames sees.
#pragma once

#include "SL42/console/SL42.h"
#include "SL42/performance/PerformanceRecorder.h"

#include <filesystem>
#include <memory>
#include <optional>

namespace starloom {

/// Main thread. Goes on as long as it exists; one for a console at a time, and the console outlives
/// it.
class PerformanceRecording {
public:
    /// Restarts the console, as its reset() does, and records from the next frame on. The error is
    /// one line with the path, also when there is a file of that name; the console goes on as it
    /// was then.
    static platform::Result<std::unique_ptr<PerformanceRecording>>
    start(SL42& console, const std::filesystem::path& path);
    /// Leaves a file that was cut off, unless it was stopped.
    ~PerformanceRecording();
    PerformanceRecording(const PerformanceRecording&) = delete;
    PerformanceRecording& operator=(const PerformanceRecording&) = delete;

    /// Seconds from the first frame to the last.
    double duration() const { return m_recorder->duration(); }
    /// Why nothing more is written, in one line; none while all is well.
    std::optional<platform::Error> error() const { return m_recorder->error(); }
    /// Completes the file; waits for the disk.
    platform::Result<void> stop();

private:
    PerformanceRecording(SL42& console, std::unique_ptr<PerformanceRecorder> recorder);
    void note(const DrawnFrame& frame);

    SL42& m_console;
    std::unique_ptr<PerformanceRecorder> m_recorder;
    std::optional<unsigned> m_program; ///< of the frame before
    std::optional<unsigned> m_resets;
};

} // namespace starloom
