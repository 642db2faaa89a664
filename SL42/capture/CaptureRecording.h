// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A movie file of what is captured.
#pragma once

#include "platform/base/Mutex.h"
#include "platform/base/Result.h"
#include "platform/capture/WindowCapture.h"

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <thread>
#include <utility>
#include <vector>

namespace starloom {

/// Writes on a thread of its own, at a constant rate: a window that stands still is written again
/// and again. The size of the movie is that of the first picture; others are scaled to it. Nothing
/// is written before the first picture.
class CaptureRecording {
public:
    static constexpr std::uint32_t framesPerSecond = 30;

    explicit CaptureRecording(std::filesystem::path path) : m_path(std::move(path)) {}
    /// Waits until the file is complete.
    ~CaptureRecording();
    CaptureRecording(const CaptureRecording&) = delete;
    CaptureRecording& operator=(const CaptureRecording&) = delete;

    /// Gets, on the recording's thread, how it ended. Set before the start.
    std::function<void(const platform::Result<void>&)> finished = [](const auto&) {};

    const std::filesystem::path& path() const { return m_path; }
    void start();
    /// Has the file completed. Does not wait.
    void end();
    /// What is shown from now on. Any thread.
    void show(const platform::CapturedPicture& picture);

private:
    /// Rows of 0xffRRGGBB without padding.
    struct Picture {
        std::vector<std::uint32_t> pixels;
        std::uint32_t width = 0;
        std::uint32_t height = 0;
    };

    platform::Result<void> write();
    bool waitForFirst(Picture& frame);
    bool waitUntil(std::chrono::steady_clock::time_point time);
    void takeShown(Picture& frame);

    const std::filesystem::path m_path;
    platform::Mutex m_mutex;
    platform::Condition m_changed;
    Picture m_shown SL42_GUARDED_BY(m_mutex);
    bool m_isNew SL42_GUARDED_BY(m_mutex) = false;
    bool m_isEnding SL42_GUARDED_BY(m_mutex) = false;
    std::thread m_thread; // last: it uses all the others
};

} // namespace starloom
