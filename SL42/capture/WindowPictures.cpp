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
        const std::lock_guard lock(m_mutex);
        m_wanted = window;
    }
    m_changed.notify_one();
}

void WindowPictures::run(const std::stop_token& stop) {
    const auto source = m_makeCapture();
    if (!source)
        return;
    while (true) {
        std::unique_lock lock(m_mutex);
        if (!m_changed.wait(lock, stop, [this] { return m_wanted.has_value(); }))
            return;
        const std::uint64_t window = std::exchange(m_wanted, std::nullopt).value_or(0);
        lock.unlock();
        auto picture = (*source)->picture(window);
        if (!picture || picture->width == 0)
            continue; // minimised, or just closed
        auto shared = std::make_shared<const platform::WindowPicture>(*std::move(picture));
        m_anchor.async(
            [this, window, shared = std::move(shared)] { m_onPicture(window, *shared); });
    }
}

} // namespace starloom
