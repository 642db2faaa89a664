// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Brings pictures and events to the user of a capture on a thread of its own, so that the desktop
// is answered in time however long the user takes.
#pragma once

#include "platform/base/Mutex.h"
#include "platform/capture/WindowCapture.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <thread>
#include <vector>

namespace platform {

/// Without padding.
struct OwnPicture {
    std::vector<std::byte> pixels;
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    double scale = 1; ///< pixels a point
};

class Delivery {
public:
    Delivery(unsigned picturesPerSecond, WindowCapture::PictureHandler onPicture,
             WindowCapture::EventHandler onEvent);
    /// Waits for a handler that runs; what has not been brought is dropped.
    ~Delivery();
    Delivery(const Delivery&) = delete;
    Delivery& operator=(const Delivery&) = delete;

    // From one other thread:
    /// Takes the place of a picture that still waits. Leaves one whose memory can be used again.
    void offer(OwnPicture& picture);
    /// Comes after the picture that waits.
    void tell(CaptureEvent event);

private:
    using Clock = std::chrono::steady_clock;

    void run();
    bool takeNext(std::optional<CaptureEvent>& event);
    void show(const OwnPicture& picture);
    void advancePace();

    const Clock::duration m_interval;
    const WindowCapture::PictureHandler m_onPicture;
    const WindowCapture::EventHandler m_onEvent;
    Clock::time_point m_due; ///< of the next picture; the thread's own
    OwnPicture m_shown;      ///< likewise

    Mutex m_mutex;
    Condition m_changed;
    OwnPicture m_newest SL42_GUARDED_BY(m_mutex);
    bool m_isWaiting SL42_GUARDED_BY(m_mutex) = false; ///< the newest
    std::deque<CaptureEvent> m_events SL42_GUARDED_BY(m_mutex);
    bool m_pictureIsFirst SL42_GUARDED_BY(m_mutex) = false; ///< before the events
    bool m_closing SL42_GUARDED_BY(m_mutex) = false;
    std::thread m_thread;
};

} // namespace platform
