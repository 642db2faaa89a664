// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What the handlers of a capture are told, for tests that wait for it.
#pragma once

#include "platform/capture/WindowCapture.h"
#include "tests/platform/capture/TestPicture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace platform::tests {

/// Has to outlive the capture, or its stop(): declare it before the desktop.
class Recording {
public:
    using Clock = std::chrono::steady_clock;
    struct Picture {
        std::optional<std::uint32_t> counter; ///< none when it is not the test picture
        std::uint32_t width = 0;
        std::uint32_t height = 0;
        Clock::time_point time;
        double scale = 0;
    };

    void start(WindowCapture& capture, std::optional<std::uint64_t> window = std::nullopt,
               unsigned picturesPerSecond = 60) {
        capture.start(
            window, picturesPerSecond, [this](const CapturedPicture& picture) { add(picture); },
            [this](const CaptureEvent& event) { add(event); });
    }
    /// Whether a picture with this counter and size came, or comes soon.
    bool shows(std::uint32_t counter, std::uint32_t width = 640, std::uint32_t height = 400) {
        return waitFor([=](const Recording& told) {
            return std::ranges::any_of(told.m_pictures, [=](const Picture& picture) {
                return picture.counter == counter && picture.width == width &&
                       picture.height == height;
            });
        });
    }
    bool hears(CaptureEvent::Kind kind) {
        return waitFor([=](const Recording& told) {
            return std::ranges::any_of(
                told.m_events, [=](const CaptureEvent& event) { return event.kind == kind; });
        });
    }
    std::vector<Picture> pictures() {
        const std::lock_guard lock(m_mutex);
        return m_pictures;
    }
    std::vector<CaptureEvent> events() {
        const std::lock_guard lock(m_mutex);
        return m_events;
    }
    /// Of the one event that ended the capture; empty, after a while, when there was none or more.
    std::string ending() {
        hears(CaptureEvent::Kind::Stopped);
        const auto all = events();
        const bool isOne =
            std::ranges::count(all, CaptureEvent::Kind::Stopped, &CaptureEvent::kind) == 1;
        return isOne ? all.back().description : std::string();
    }
    /// Runs within the handler of pictures.
    std::function<void()> whilePictureIsShown = [] {};

private:
    void add(const CapturedPicture& picture) {
        whilePictureIsShown();
        EXPECT_GE(picture.width, 1U);
        EXPECT_GE(picture.height, 1U);
        EXPECT_GE(picture.bytesPerRow, std::size_t{picture.width} * 4);
        ASSERT_GE(picture.pixels.size(), picture.bytesPerRow * picture.height);
        const Picture seen{readTestPicture(picture), picture.width, picture.height, Clock::now(),
                           picture.scale};
        const std::lock_guard lock(m_mutex);
        m_pictures.push_back(seen);
        m_changed.notify_all();
    }
    void add(const CaptureEvent& event) {
        const std::lock_guard lock(m_mutex);
        m_events.push_back(event);
        m_changed.notify_all();
    }
    template <class Condition>
    bool waitFor(Condition condition) {
        std::unique_lock lock(m_mutex);
        return m_changed.wait_for(lock, std::chrono::seconds(10), [&] { return condition(*this); });
    }

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::vector<Picture> m_pictures;
    std::vector<CaptureEvent> m_events;
};

} // namespace platform::tests
