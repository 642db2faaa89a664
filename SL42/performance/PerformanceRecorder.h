// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Writes a performance down while it goes on.
#pragma once

#include "SL42/performance/PerformanceFrame.h"
#include "platform/base/Result.h"
#include "platform/files/AppendedFile.h"

#include <filesystem>
#include <memory>
#include <optional>
#include <string_view>

namespace starloom {

/// One thread, which never waits for a disk. Needs memory for the last frame, and for what the disk
/// has not taken yet, which is bounded. What was noted is in the file a moment later, however the
/// process ends.
///
/// A replay begins with a machine that has just been reset, so the machine whose frames are noted
/// is to be reset before the first.
class PerformanceRecorder {
public:
    /// Makes a new file. The error is one line with the path, also when there is one of that name.
    static platform::Result<std::unique_ptr<PerformanceRecorder>>
    start(const std::filesystem::path& path, std::string_view title);

    /// The machine has drawn this frame. The clock may be any one; the file counts from the first
    /// frame. The first frame has a program; one without is passed over until there is one.
    void note(PerformanceFrame frame);
    /// Seconds from the first frame to the last.
    double duration() const { return m_duration; }
    /// Why nothing more is written, in one line; none while all is well.
    std::optional<platform::Error> error() const { return m_file->error(); }
    /// Completes the file. Nothing may be noted after it. Without it the file is one that was cut
    /// off.
    platform::Result<void> stop();

private:
    explicit PerformanceRecorder(std::unique_ptr<platform::AppendedFile> file)
        : m_file(std::move(file)) {}

    std::unique_ptr<platform::AppendedFile> m_file;
    std::optional<double> m_start;
    double m_duration = 0;
    FrameState m_last;
};

} // namespace starloom
