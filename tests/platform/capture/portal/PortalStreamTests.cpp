// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Streams as desktops send them, and as they should not.
#include "tests/platform/capture/portal/PortalDesktop.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <spa/buffer/buffer.h>
#include <spa/buffer/meta.h>
#include <spa/param/video/format.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <climits>
#include <thread>

namespace platform::tests {
namespace {

using Kind = CaptureEvent::Kind;
using std::chrono::milliseconds;

class PortalStream : public PortalTest {
protected:
    /// Begins to capture a stream of this shape.
    void start(StreamShape shape = {}, TestPortal::Behaviour behaviour = {}) {
        desktop = std::make_unique<PortalDesktop>(std::move(shape), std::move(behaviour));
        told.start(desktop->capture());
    }
    TestStream& stream() { return *desktop->stream; }
};

TEST_F(PortalStream, PaddingAndOffsetAreLeftOut) {
    start({.padding = 192, .offset = 4096 + 64});
    EXPECT_TRUE(told.shows(0));
    stream().reshape({.width = 801, .height = 300, .padding = 12, .offset = 4}, 7);
    EXPECT_TRUE(told.shows(7, 801, 300));
}

TEST_F(PortalStream, EveryOrderOfColoursComesAsOne) {
    start({.format = SPA_VIDEO_FORMAT_RGBx, .padding = 64});
    EXPECT_TRUE(told.shows(0));
    std::uint32_t counter = 0;
    for (const auto format :
         {SPA_VIDEO_FORMAT_BGRA, SPA_VIDEO_FORMAT_RGBA, SPA_VIDEO_FORMAT_BGRx}) {
        stream().reshape({.format = format}, ++counter);
        EXPECT_TRUE(told.shows(counter)) << format;
    }
}

TEST_F(PortalStream, WindowIsCutOutOfAMonitor) {
    start({.padding = 32, .isInMonitor = true});
    EXPECT_TRUE(told.shows(0));
    stream().reshape({.width = 500, .height = 200, .isInMonitor = true}, 1);
    EXPECT_TRUE(told.shows(1, 500, 200));
}

TEST_F(PortalStream, StartsAgainWhatFallsSilentAfterANewFormat) {
    start();
    ASSERT_TRUE(told.shows(0));
    stream().reshape({.width = 300, .height = 200, .waitsForRestart = true}, 1);
    EXPECT_TRUE(told.shows(1, 300, 200));
    desktop->capture().stop();
    EXPECT_EQ(told.events().size(), 1U) << "that is no pause";
}

TEST_F(PortalStream, ScaleIsThatOfTheDesktop) {
    start({.width = 1600, .height = 1200}, {.widthInPoints = 1067});
    ASSERT_TRUE(told.shows(0, 1600, 1200));
    EXPECT_DOUBLE_EQ(told.pictures().front().scale, 1.5);
    stream().reshape({.width = 800, .height = 600}, 1);
    ASSERT_TRUE(told.shows(1, 800, 600));
    EXPECT_DOUBLE_EQ(told.pictures().back().scale, 1.5) << "the window is smaller now";
}

TEST_F(PortalStream, WorthlessBuffersAreSkippedAndGivenBack) {
    start();
    ASSERT_TRUE(told.shows(0));
    const auto chunkOf = [](spa_buffer& buffer) -> spa_chunk& { return *buffer.datas[0].chunk; };
    const std::vector<std::function<void(spa_buffer&)>> tamperings{
        [=](auto& buffer) { chunkOf(buffer).size = 0; },
        [=](auto& buffer) { chunkOf(buffer).flags = SPA_CHUNK_FLAG_CORRUPTED; },
        [](auto& buffer) {
            static_cast<spa_meta_header*>(
                spa_buffer_find_meta_data(&buffer, SPA_META_Header, sizeof(spa_meta_header)))
                ->flags = SPA_META_HEADER_FLAG_CORRUPTED;
        },
        [=](auto& buffer) { chunkOf(buffer).stride = INT_MAX; },
        [=](auto& buffer) { chunkOf(buffer).stride = -2560; },
        [=](auto& buffer) { chunkOf(buffer).stride = 2556; },
        [=](auto& buffer) { chunkOf(buffer).stride = 2564; },
        [=](auto& buffer) { chunkOf(buffer).offset = 4; },
        [=](auto& buffer) { chunkOf(buffer).offset = UINT_MAX; },
        [](auto& buffer) {
            static_cast<spa_meta_region*>(
                spa_buffer_find_meta_data(&buffer, SPA_META_VideoCrop, sizeof(spa_meta_region)))
                ->region = {{640, 0}, {UINT_MAX, UINT_MAX}};
        },
    };
    // More of each than there are buffers.
    for (std::size_t i = 0; i < tamperings.size(); ++i) {
        stream().reshape({.tamper = tamperings[i]}, 99);
        for (std::uint32_t counter = 0; counter < 8; ++counter) {
            stream().show(100 + counter);
            std::this_thread::sleep_for(milliseconds(2));
        }
        stream().reshape({}, static_cast<std::uint32_t>(i) + 1);
        ASSERT_TRUE(told.shows(static_cast<std::uint32_t>(i) + 1)) << i;
    }
    EXPECT_TRUE(std::ranges::none_of(told.pictures(), [](const auto& picture) {
        return !picture.counter || *picture.counter >= 99;
    }));
}

TEST_F(PortalStream, SizeClaimsOfBuffersAreNotBelieved) {
    // The other side maps less than it says, and takes it back from a buffer that is on its way.
    start({.tamper = [](spa_buffer& buffer) {
        const auto file = static_cast<int>(buffer.datas[0].fd);
        ASSERT_EQ(::ftruncate(file, 4096), 0);
    }});
    ASSERT_TRUE(told.hears(Kind::Started));
    std::this_thread::sleep_for(milliseconds(100));
    EXPECT_TRUE(told.pictures().empty());
    stream().reshape({.width = 320, .height = 200}, 1);
    EXPECT_TRUE(told.shows(1, 320, 200)) << "new buffers";
}

TEST_F(PortalStream, SlowHandlerGetsTheNewestPicture) {
    slow.whilePictureIsShown = [] { std::this_thread::sleep_for(milliseconds(50)); };
    start();
    slow.start(desktop->capture(), std::nullopt, 1000);
    ASSERT_TRUE(slow.shows(0));
    for (std::uint32_t counter = 1; counter <= 60; ++counter) {
        stream().show(counter);
        std::this_thread::sleep_for(milliseconds(3));
    }
    EXPECT_TRUE(slow.shows(60));
    desktop->capture().stop();
    const auto pictures = slow.pictures();
    EXPECT_LT(pictures.size(), 60U) << "none was left out";
    EXPECT_TRUE(std::ranges::all_of(pictures, [](const auto& seen) {
        return seen.counter.has_value();
    })) << "one was painted over while it was shown";
}

TEST_F(PortalStream, StopWaitsForTheHandlerAndNoLonger) {
    std::atomic<bool> isShown = false;
    slow.whilePictureIsShown = [&] {
        isShown = true;
        std::this_thread::sleep_for(milliseconds(100));
        isShown = false;
    };
    start();
    slow.start(desktop->capture());
    while (!isShown)
        std::this_thread::sleep_for(milliseconds(1));
    desktop->capture().stop();
    EXPECT_FALSE(isShown);
}

TEST_F(PortalStream, PausesWithTheWindow) {
    start();
    ASSERT_TRUE(told.shows(0));
    stream().setActive(false);
    ASSERT_TRUE(told.hears(Kind::Paused));
    EXPECT_FALSE(told.events().back().description.empty());
    stream().setActive(true);
    ASSERT_TRUE(told.hears(Kind::Resumed));
    stream().show(5);
    EXPECT_TRUE(told.shows(5));
    desktop->capture().stop();
    EXPECT_EQ(told.events().size(), 3U);
}

} // namespace
} // namespace platform::tests
