// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/capture/portal/Delivery.h"

#include <algorithm>
#include <utility>

namespace platform {

Delivery::Delivery(unsigned picturesPerSecond, WindowCapture::PictureHandler onPicture,
                   WindowCapture::EventHandler onEvent)
    : m_interval(Clock::duration(std::chrono::seconds(1)) / std::max(picturesPerSecond, 1U)),
      m_onPicture(std::move(onPicture)),
      m_onEvent(std::move(onEvent)),
      m_thread([this] { run(); }) {}

Delivery::~Delivery() {
    {
        const Lock lock(m_mutex);
        m_closing = true;
        m_changed.notifyOne();
    }
    m_thread.join();
}

void Delivery::offer(OwnPicture& picture) {
    const Lock lock(m_mutex);
    std::swap(m_newest, picture);
    m_isWaiting = true;
    m_pictureIsFirst = m_events.empty();
    m_changed.notifyOne();
}

void Delivery::tell(CaptureEvent event) {
    const Lock lock(m_mutex);
    m_events.push_back(std::move(event));
    m_changed.notifyOne();
}

void Delivery::run() {
    std::optional<CaptureEvent> event;
    while (takeNext(event)) {
        if (event) {
            m_onEvent(*event);
        } else {
            advancePace();
            show(m_shown);
        }
    }
}

/// Waits for the next event, or else for a picture that is due, which becomes the shown one. False
/// when it is time to go.
bool Delivery::takeNext(std::optional<CaptureEvent>& event) {
    event.reset();
    const Lock lock(m_mutex);
    while (!m_closing) {
        if (!m_events.empty() && !(m_isWaiting && m_pictureIsFirst)) {
            event = std::move(m_events.front());
            m_events.pop_front();
            return true;
        }
        if (!m_isWaiting) {
            m_changed.wait(m_mutex);
        } else if (Clock::now() < m_due) {
            m_changed.waitUntil(m_mutex, m_due);
        } else {
            std::swap(m_shown, m_newest);
            m_isWaiting = false;
            return true;
        }
    }
    return false;
}

void Delivery::show(const OwnPicture& picture) {
    m_onPicture({picture.pixels, picture.width * std::size_t{4}, picture.width, picture.height,
                 picture.scale});
}

/// Keeps to the pace on average: one picture that came late does not delay those after it.
void Delivery::advancePace() {
    const auto now = Clock::now();
    m_due = std::max(m_due + m_interval, now + m_interval / 2);
}

} // namespace platform
