// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Makes a movie's frames of pictures on a thread of its own, so that the next picture is drawn
// while the one before is converted and encoded.
#pragma once

#include "SL42/offline/OfflineConsole.h"
#include "SL42/offline/VideoCanvas.h"
#include "platform/base/Mutex.h"
#include "platform/base/Result.h"
#include "platform/media/MovieWriter.h"
#include "preview/DrawablePool.h"

#include <array>
#include <cstddef>
#include <deque>
#include <optional>
#include <span>
#include <thread>
#include <vector>

namespace starloom {

/// Samples that sound with a frame, one plane per channel.
using FrameSound = std::array<std::vector<float>, 2>;

/// One thread calls it. What was not finished leaves no file.
class MovieThread {
public:
    /// The canvas has the size of the frames that the writer takes: pictures as they are if it
    /// repeats pixels.
    MovieThread(platform::MovieWriter writer, VideoCanvas canvas, bool repeats);
    /// Drops the frames that wait.
    ~MovieThread();
    MovieThread(const MovieThread&) = delete;
    MovieThread& operator=(const MovieThread&) = delete;

    /// The next frame; black if there is no picture. Waits while several frames are on their way.
    /// The error is that of an earlier one.
    platform::Result<void> write(ShownPicture picture, FrameSound sound);
    /// Waits for all frames and completes the file. Nothing may be written after it.
    platform::Result<void> finish();

private:
    static constexpr std::size_t mostFrames = 3;
    static_assert(mostFrames < DrawablePool::mostHeld, "the console holds the last one");

    struct Frame {
        ShownPicture picture;
        FrameSound sound;
    };
    void run();
    std::optional<Frame> nextFrame();
    void frameDone(const platform::Result<void>& written);
    platform::Result<void> encode(const Frame& frame);
    platform::Result<void> encode(std::span<const std::uint16_t> picture);

    platform::MovieWriter m_writer; ///< the thread's, like the canvas, while it runs
    VideoCanvas m_canvas;
    const bool m_repeats;
    platform::Mutex m_mutex;
    platform::Condition m_changed;
    std::deque<Frame> m_frames SL42_GUARDED_BY(m_mutex);
    std::size_t m_onTheirWay SL42_GUARDED_BY(m_mutex) = 0;
    std::optional<platform::Error> m_error SL42_GUARDED_BY(m_mutex);
    bool m_isLast SL42_GUARDED_BY(m_mutex) = false;
    std::thread m_thread;
};

} // namespace starloom
