// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// When to look at a captured window: as soon as something was drawn, but no more often than wanted,
// and again and again for a while when the window has no pixmap.
#pragma once

#include "platform/capture/WindowCapture.h"
#include "platform/capture/x11/CapturedWindow.h"
#include "platform/capture/x11/XDisplay.h"

#include <chrono>
#include <optional>
#include <string>

namespace platform::x11 {

struct StreamHandlers {
    WindowCapture::PictureHandler onPicture;
    WindowCapture::EventHandler onEvent;
};

class WindowStream {
public:
    /// All of it outlives the stream.
    WindowStream(const XDisplay& display, CapturedWindow& window, std::chrono::nanoseconds interval,
                 const StreamHandlers& handlers);

    /// Calls the handlers until the window is closed or the connection ends, and says which of them
    /// it was. Sleeps while there is nothing to do.
    std::string run();

private:
    using Clock = std::chrono::steady_clock;

    bool takeNews();
    bool act();
    bool tryToName();
    void onUnnamed(const std::string& reason);
    void lookAgain(std::chrono::nanoseconds delay = {});
    bool look();
    void sleep() const;

    const XDisplay& m_display;
    CapturedWindow& m_window;
    std::chrono::nanoseconds m_interval;
    const StreamHandlers& m_handlers;
    double m_scale;
    bool m_isDamaged = false;
    bool m_isPaused = false;
    /// No picture before this time.
    Clock::time_point m_nextPicture;
    /// When to ask for the pixmap; none while the one that we have is right, or the window has
    /// none.
    std::optional<Clock::time_point> m_nextNaming;
    /// From then on the window is said to have no picture.
    Clock::time_point m_patience;
};

} // namespace platform::x11
