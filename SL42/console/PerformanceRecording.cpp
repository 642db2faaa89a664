// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/console/PerformanceRecording.h"

#include <utility>

namespace starloom {

platform::Result<std::unique_ptr<PerformanceRecording>>
PerformanceRecording::start(SL42& console, const std::filesystem::path& path) {
    auto recorder = SL42_TRY(PerformanceRecorder::start(path, console.title()));
    return std::unique_ptr<PerformanceRecording>(
        new PerformanceRecording(console, std::move(recorder)));
}

PerformanceRecording::PerformanceRecording(SL42& console,
                                           std::unique_ptr<PerformanceRecorder> recorder)
    : m_console(console), m_recorder(std::move(recorder)) {
    m_console.reset();
    m_console.observeFrames([this](const DrawnFrame& frame) { note(frame); });
}

PerformanceRecording::~PerformanceRecording() {
    m_console.observeFrames({});
}

void PerformanceRecording::note(const DrawnFrame& frame) {
    PerformanceFrame noted{.clock = frame.clock.count(), .state = frame.state};
    if (std::exchange(m_program, frame.program) != frame.program)
        noted.program = frame.source;
    const auto resets = std::exchange(m_resets, frame.resets);
    noted.isReset = resets && resets != frame.resets; // the first frame is that of a new machine
    noted.songPlays = frame.songPlays;
    m_recorder->note(std::move(noted));
}

platform::Result<void> PerformanceRecording::stop() {
    m_console.observeFrames({});
    return m_recorder->stop();
}

} // namespace starloom
