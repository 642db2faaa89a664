// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/capture/x11/WindowStream.h"

#include "platform/capture/x11/DesktopScale.h"

#include <poll.h>

#include <algorithm>
#include <ctime>
#include <utility>

namespace platform::x11 {

using std::chrono::milliseconds;

/// A window manager that starts anew leaves windows without a pixmap for some 15 ms.
static constexpr milliseconds namingInterval{10};
static constexpr milliseconds namingPatience{150};

WindowStream::WindowStream(const XDisplay& display, CapturedWindow& window,
                           std::chrono::nanoseconds interval, const StreamHandlers& handlers)
    : m_display(display),
      m_window(window),
      m_interval(interval),
      m_handlers(handlers),
      m_scale(desktopScale(display)),
      m_nextPicture(Clock::now()) {
    if (window.wasCovered())
        m_nextPicture += coveredRepaintTime;
    lookAgain();
}

std::string WindowStream::run() {
    for (;;) {
        if (!takeNews())
            return "the window was closed";
        if (m_display.isLost())
            return "the X server has ended the connection";
        if (!act()) // otherwise there may be news that XCB has read on the way
            sleep();
    }
}

/// False when the window is closed.
bool WindowStream::takeNews() {
    while (const Event event = m_display.nextEvent()) {
        switch (m_window.newsIn(*event)) {
        case WindowNews::None:
            break;
        case WindowNews::Damaged:
            m_isDamaged = true;
            break;
        case WindowNews::Replaced:
            lookAgain();
            break;
        case WindowNews::Closed:
            return false;
        }
    }
    return true;
}

void WindowStream::lookAgain(std::chrono::nanoseconds delay) {
    const auto time = Clock::now() + delay;
    m_nextNaming = time;
    m_patience = time + namingPatience;
}

/// Does what it is time for; false when there is nothing.
bool WindowStream::act() {
    const auto now = Clock::now();
    if (m_nextNaming && *m_nextNaming <= now)
        return tryToName();
    if (m_isDamaged && m_nextPicture <= now)
        return look();
    return false;
}

bool WindowStream::tryToName() {
    const bool wasNew = m_window.isNew();
    if (const auto named = m_window.namePixmap(); !named) {
        onUnnamed(named.error().message);
        return true;
    }
    m_nextNaming.reset();
    m_isDamaged = true;
    if (!wasNew) // from a window that changes all the time there are to be pictures nevertheless
        m_nextPicture = std::max(m_nextPicture, Clock::now() + repaintTime);
    if (std::exchange(m_isPaused, false))
        m_handlers.onEvent({CaptureEvent::Kind::Resumed, {}});
    return true;
}

void WindowStream::onUnnamed(const std::string& reason) {
    const auto now = Clock::now();
    if (now < m_patience) {
        m_nextNaming = now + namingInterval;
        return;
    }
    m_nextNaming.reset(); // the server tells when the window is back
    if (!std::exchange(m_isPaused, true) && !m_display.isLost())
        m_handlers.onEvent({CaptureEvent::Kind::Paused, reason});
}

bool WindowStream::look() {
    m_nextPicture = Clock::now() + m_interval;
    m_isDamaged = false;
    const auto read = m_window.read();
    if (!read) {
        lookAgain(namingInterval);
        return true;
    }
    const WindowImage& image = m_window.image();
    if (*read)
        m_handlers.onPicture(
            {image.pixels(), image.bytesPerRow(), image.width(), image.height(), m_scale});
    return true;
}

/// Until the server says something, or it is time for a picture or for the next attempt.
void WindowStream::sleep() const {
    xcb_flush(m_display.connection());
    std::optional<Clock::time_point> due = m_nextNaming;
    if (m_isDamaged)
        due = due ? std::min(*due, m_nextPicture) : m_nextPicture;
    pollfd server{m_display.socket(), POLLIN, 0};
    if (!due) {
        ::ppoll(&server, 1, nullptr, nullptr);
        return;
    }
    const auto left = std::max<std::chrono::nanoseconds>(*due - Clock::now(), {});
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(left);
    const timespec wait{seconds.count(), (left - seconds).count()};
    ::ppoll(&server, 1, &wait, nullptr);
}

} // namespace platform::x11
