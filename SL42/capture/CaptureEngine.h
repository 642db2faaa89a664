// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// One stream of frames from a window of another application to the main thread.
#pragma once

#include "SL42/capture/CaptureEngineStreamOutput.h"
#include "platform/MainQueueAnchor.h"
#include "platform/base/Mutex.h"

#include <cstdint>
#include <functional>
#include <optional>

namespace starloom {

/// What a stream captures: one window, wherever it is. None where the desktop has the user pick.
struct ContentFilter {
    std::optional<std::uint64_t> window;
};

/// Main thread. Frames are made on the capture's thread; of those that the main thread is too slow
/// for, only the newest is kept.
class CaptureEngine {
public:
    /// Main thread.
    using FrameHandler = std::function<void(const CapturedFrame&)>;
    using EventHandler = std::function<void(const platform::CaptureEvent&)>;

    /// `capture` must outlive the engine.
    CaptureEngine(platform::WindowCapture& capture, platform::MainQueue& mainQueue);
    ~CaptureEngine();
    CaptureEngine(const CaptureEngine&) = delete;
    CaptureEngine& operator=(const CaptureEngine&) = delete;

    /// Begins a stream in place of the one that runs.
    void start(const StreamConfiguration& configuration, const ContentFilter& filter,
               FrameHandler onFrame, EventHandler onEvent);
    /// Lets the stream that runs go on with another window or configuration.
    void update(const StreamConfiguration& configuration, const ContentFilter& filter);
    /// Nothing arrives after it.
    void stop();

    /// Has `handler` get the pictures as they come, on the capture's thread; an empty one ends
    /// that. Not called any more when it has been replaced.
    void setPictureHandler(std::function<void(const platform::CapturedPicture&)> handler);

private:
    void post(CapturedFrame frame);
    void deliver();

    platform::WindowCapture& m_capture;
    CaptureEngineStreamOutput m_output;
    FrameHandler m_onFrame;
    EventHandler m_onEvent;
    std::uint64_t m_stream = 0; ///< tells late events of streams that have been replaced

    platform::Mutex m_mutex;
    std::optional<CapturedFrame> m_newest SL42_GUARDED_BY(m_mutex);
    std::function<void(const platform::CapturedPicture&)> m_onPicture SL42_GUARDED_BY(m_mutex);

    platform::MainQueueAnchor m_anchor;
};

} // namespace starloom
