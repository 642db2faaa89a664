// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/capture/WindowPictures.h"

#include <utility>

namespace starloom {

WindowPictures::WindowPictures(MakeCapture makeCapture, platform::MainQueue& mainQueue,
                               Handler onPicture)
    : m_makeCapture(std::move(makeCapture)),
      m_onPicture(std::move(onPicture)),
      m_anchor(mainQueue),
      m_thread([this](const std::stop_token& stop) { run(stop); }) {}

WindowPictures::~WindowPictures() = default;

void WindowPictures::request(std::uint64_t window) {
    {
        const platform::Lock lock(m_mutex);
        m_wanted = window;
    }
    m_changed.notifyOne();
}

void WindowPictures::run(const std::stop_token& stop) {
    const auto source = m_makeCapture();
    if (!source)
        return;
    // Under the lock, so that the stop cannot come between a look at it and the wait.
    const std::stop_callback wakeUp(stop, [this] {
        const platform::Lock lock(m_mutex);
        m_changed.notifyOne();
    });
    while (const auto wanted = waitForRequest(stop)) {
        const std::uint64_t window = *wanted;
        auto picture = (*source)->picture(window);
        if (!picture || picture->width == 0)
            continue; // minimised, or just closed
        auto shared = std::make_shared<const platform::WindowPicture>(*std::move(picture));
        m_anchor.async(
            [this, window, shared = std::move(shared)] { m_onPicture(window, *shared); });
    }
}

/// None when it is time to go.
std::optional<std::uint64_t> WindowPictures::waitForRequest(const std::stop_token& stop) {
    const platform::Lock lock(m_mutex);
    while (!m_wanted && !stop.stop_requested())
        m_changed.wait(m_mutex);
    return std::exchange(m_wanted, std::nullopt);
}

} // namespace starloom
