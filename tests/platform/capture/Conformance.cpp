// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "tests/platform/capture/Conformance.h"

#include "tests/platform/capture/TestPicture.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace platform::tests {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

/// What the handlers are told.
class Recording {
public:
    struct Picture {
        std::optional<std::uint32_t> counter;
        std::uint32_t width = 0;
        std::uint32_t height = 0;
        Clock::time_point time;
    };

    void start(WindowCapture& capture, std::optional<std::uint64_t> window) {
        capture.start(
            window, 60, [this](const CapturedPicture& picture) { add(picture); },
            [this](const CaptureEvent& event) { add(event); });
    }
    /// Whether a picture with this counter and size came, or comes soon.
    bool shows(std::uint32_t counter, std::uint32_t width, std::uint32_t height) {
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

private:
    void add(const CapturedPicture& picture) {
        const std::lock_guard lock(m_mutex);
        m_pictures.push_back(
            {readTestPicture(picture), picture.width, picture.height, Clock::now()});
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

TEST_P(CaptureConformance, EveryPictureComesWhole) {
    const auto desktop = GetParam()();
    ASSERT_TRUE(desktop);
    Recording told;
    told.start(desktop->capture(), desktop->window());
    ASSERT_TRUE(told.hears(CaptureEvent::Kind::Started));
    ASSERT_TRUE(told.shows(0, 640, 400));
    for (std::uint32_t counter = 1; counter <= 30; ++counter) {
        desktop->show(counter);
        ASSERT_TRUE(told.shows(counter, 640, 400)) << counter;
    }
    desktop->capture().stop();
    const auto count = told.pictures().size();
    desktop->show(31);
    std::this_thread::sleep_for(milliseconds(100));
    EXPECT_EQ(told.pictures().size(), count) << "after stop()";
}

TEST_P(CaptureConformance, KeepsItsPaceAndLosesOnlyWhatWasOvertaken) {
    const auto desktop = GetParam()();
    ASSERT_TRUE(desktop);
    Recording told;
    told.start(desktop->capture(), desktop->window());
    ASSERT_TRUE(told.shows(0, 640, 400));
    constexpr std::uint32_t last = 200;
    for (std::uint32_t counter = 1; counter <= last; ++counter) {
        desktop->show(counter);
        std::this_thread::sleep_for(milliseconds(4));
    }
    ASSERT_TRUE(told.shows(last, 640, 400));
    desktop->capture().stop();
    const auto pictures = told.pictures();
    const auto time = pictures.back().time - pictures.front().time;
    // The first and the last have no fellow to keep their distance from.
    EXPECT_LE(pictures.size(), time / milliseconds(16) + 2);
    std::uint32_t before = 0;
    for (const auto& picture : pictures) {
        if (!picture.counter) // half painted when it was looked at
            continue;
        EXPECT_GE(*picture.counter, before);
        before = *picture.counter;
    }
}

TEST_P(CaptureConformance, AStillWindowIsNotLookedAt) {
    const auto desktop = GetParam()();
    ASSERT_TRUE(desktop);
    Recording told;
    told.start(desktop->capture(), desktop->window());
    ASSERT_TRUE(told.shows(0, 640, 400));
    std::this_thread::sleep_for(milliseconds(200));
    const auto count = told.pictures().size();
    std::this_thread::sleep_for(milliseconds(500));
    EXPECT_EQ(told.pictures().size(), count);
}

TEST_P(CaptureConformance, FollowsTheSize) {
    const auto desktop = GetParam()();
    ASSERT_TRUE(desktop);
    Recording told;
    told.start(desktop->capture(), desktop->window());
    ASSERT_TRUE(told.shows(0, 640, 400));
    desktop->resize(802, 301, 1);
    EXPECT_TRUE(told.shows(1, 802, 301));
    desktop->resize(320, 500, 2);
    EXPECT_TRUE(told.shows(2, 320, 500));
    desktop->show(3);
    EXPECT_TRUE(told.shows(3, 320, 500));
}

TEST_P(CaptureConformance, EndsWithTheWindowAndCanBeginAgain) {
    const auto desktop = GetParam()();
    ASSERT_TRUE(desktop);
    Recording first;
    first.start(desktop->capture(), desktop->window());
    ASSERT_TRUE(first.shows(0, 640, 400));
    Recording second;
    second.start(desktop->capture(), desktop->window()); // in place of the first
    ASSERT_TRUE(second.shows(0, 640, 400));
    desktop->close();
    ASSERT_TRUE(second.hears(CaptureEvent::Kind::Stopped));
    const auto events = second.events();
    EXPECT_FALSE(events.back().description.empty());
    EXPECT_EQ(std::ranges::count(events, CaptureEvent::Kind::Stopped, &CaptureEvent::kind), 1);
    desktop->capture().stop();
    EXPECT_EQ(second.events().size(), events.size());
}

} // namespace
} // namespace platform::tests
