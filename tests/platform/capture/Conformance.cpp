// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "tests/platform/capture/Conformance.h"

#include <algorithm>
#include <chrono>
#include <thread>

namespace platform::tests {

using std::chrono::milliseconds;

void CaptureConformance::SetUp() {
    desktop = GetParam()();
    if (!desktop)
        GTEST_SKIP();
    told.start(desktop->capture(), desktop->window());
    ASSERT_TRUE(told.shows(0, 640, 400));
}

namespace {

TEST_P(CaptureConformance, EveryPictureComesWhole) {
    ASSERT_TRUE(told.hears(CaptureEvent::Kind::Started));
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
    std::this_thread::sleep_for(milliseconds(200));
    const auto count = told.pictures().size();
    std::this_thread::sleep_for(milliseconds(500));
    EXPECT_EQ(told.pictures().size(), count);
}

TEST_P(CaptureConformance, FollowsTheSize) {
    desktop->resize(802, 301, 1);
    EXPECT_TRUE(told.shows(1, 802, 301));
    desktop->resize(320, 500, 2);
    EXPECT_TRUE(told.shows(2, 320, 500));
    desktop->show(3);
    EXPECT_TRUE(told.shows(3, 320, 500));
}

TEST_P(CaptureConformance, EndsWithTheWindowAndCanBeginAgain) {
    again.start(desktop->capture(), desktop->window()); // in place of the first
    ASSERT_TRUE(again.shows(0, 640, 400));
    desktop->close();
    ASSERT_TRUE(again.hears(CaptureEvent::Kind::Stopped));
    const auto events = again.events();
    EXPECT_FALSE(events.back().description.empty());
    EXPECT_EQ(std::ranges::count(events, CaptureEvent::Kind::Stopped, &CaptureEvent::kind), 1);
    desktop->capture().stop();
    EXPECT_EQ(again.events().size(), events.size());
}

} // namespace
} // namespace platform::tests
