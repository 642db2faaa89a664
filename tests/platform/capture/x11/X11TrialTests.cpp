// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Windows and servers that make it hard.
#include "platform/capture/x11/X11Capture.h"
#include "tests/platform/capture/Recording.h"
#include "tests/platform/capture/x11/X11Desktop.h"

#include <gtest/gtest.h>
#include <xcb/composite.h>

#include <chrono>
#include <utility>

namespace platform::tests {

using X11Trial = X11Stream;

TEST_F(X11Trial, AnySizeAtAnyTime) {
    X11Desktop& desktop = start(Manager::None, {.border = 2});
    TestWindow& client = desktop.client();
    constexpr std::uint16_t both = XCB_CONFIG_WINDOW_WIDTH | XCB_CONFIG_WINDOW_HEIGHT;
    for (std::uint32_t i = 1; i <= 150; ++i)
        client.configure(both, {1 + i * 37 % 900, 1 + i * 91 % 700});
    desktop.resize(700, 300, 1);
    EXPECT_TRUE(told.shows(1, 700, 300));
    for (const auto& [width, height] : {std::pair(1, 1), {32763, 1}, {1, 32763}}) {
        desktop.resize(static_cast<std::uint32_t>(width), static_cast<std::uint32_t>(height), 2);
        EXPECT_TRUE(waitUntil([&] {
            const auto last = told.pictures().back();
            return std::cmp_equal(last.width, width) && std::cmp_equal(last.height, height);
        })) << width;
    }
    EXPECT_EQ(std::ranges::count(told.events(), Kind::Paused, &CaptureEvent::kind), 0);
    desktop.resize(700, 300, 2);
    EXPECT_TRUE(told.shows(2, 700, 300));
    // Few programs could paint it either.
    client.configure(both, {9000, 9000});
    ASSERT_TRUE(told.hears(Kind::Paused));
    EXPECT_EQ(told.events().back().description, "the window is too large to be captured");
    desktop.resize(700, 300, 3);
    EXPECT_TRUE(told.shows(3, 700, 300));
}

TEST_F(X11Trial, NothingThatCanBeCaptured) {
    X11Desktop desktop(Manager::None);
    const std::uint64_t unknown = 0x7654321;
    const std::uint64_t beyondNumbers = std::uint64_t{1} << 32 | desktop.client().id();
    const std::uint64_t desktopItself = desktop.client().root();
    for (const std::uint64_t window : {std::uint64_t{0}, unknown, beyondNumbers, desktopItself}) {
        Recording refused;
        refused.start(desktop.capture(), window);
        EXPECT_TRUE(refused.hears(Kind::Stopped)) << window;
        desktop.capture().stop();
        ASSERT_EQ(refused.events().size(), 1U);
        EXPECT_FALSE(refused.events()[0].description.empty());
        EXPECT_FALSE(desktop.capture().picture(window)) << window;
    }
    told.start(desktop.capture(), std::nullopt);
    EXPECT_TRUE(told.hears(Kind::Stopped));
    desktop.capture().stop();
}

// Some window managers put a window into two frames, and minimise only the outer one.
TEST_F(X11Trial, FramesThatAreTakenAway) {
    X11Desktop& desktop = start();
    TestWindow& client = desktop.client();
    xcb_connection_t* const x = client.connection();
    xcb_window_t parent = client.root();
    const xcb_window_t frames[] = {xcb_generate_id(x), xcb_generate_id(x)};
    for (const xcb_window_t frame : frames) {
        xcb_create_window(x, 0, frame, parent, 10, 10, 700, 500, 0,
                          XCB_WINDOW_CLASS_COPY_FROM_PARENT, 0, 0, nullptr);
        xcb_map_window(x, frame);
        parent = frame;
    }
    xcb_reparent_window(x, client.id(), parent, 5, 5);
    desktop.show(1);
    ASSERT_TRUE(told.shows(1));
    EXPECT_EQ(told.events().size(), 1U) << "a window that moves between parents is not minimised";
    xcb_unmap_window(x, frames[0]);
    client.settle();
    ASSERT_TRUE(told.hears(Kind::Paused));
    xcb_map_window(x, frames[0]);
    client.settle();
    ASSERT_TRUE(told.hears(Kind::Resumed));
    desktop.show(2);
    EXPECT_TRUE(told.shows(2));
}

// A compositor comes, draws the desktop itself from then on, and goes.
TEST_F(X11Trial, ACompositor) {
    X11Desktop& desktop = start();
    std::uint32_t counter = 1;
    {
        const TestWindow compositor(desktop.display(), {.isOverridden = true});
        xcb_connection_t* const x = compositor.connection();
        xcb_discard_reply(x, xcb_composite_query_version(x, 0, 4).sequence);
        xcb_composite_redirect_subwindows(x, compositor.root(), XCB_COMPOSITE_REDIRECT_MANUAL);
        compositor.settle();
        desktop.show(counter);
        EXPECT_TRUE(told.shows(counter++));
        desktop.resize(500, 300, counter);
        EXPECT_TRUE(told.shows(counter++, 500, 300));
        EXPECT_EQ(desktop.picture().width, 500U);
    }
    desktop.show(counter);
    EXPECT_TRUE(told.shows(counter, 500, 300));
    EXPECT_EQ(told.events().size(), 1U);
}

// Any program can send any event to those who listen to a window.
TEST_F(X11Trial, EventsThatOthersMakeUp) {
    X11Desktop& desktop = start();
    TestWindow& client = desktop.client();
    for (const std::uint8_t type : {XCB_DESTROY_NOTIFY, XCB_UNMAP_NOTIFY, XCB_REPARENT_NOTIFY}) {
        xcb_destroy_notify_event_t event{};
        event.response_type = type;
        event.event = event.window = client.id();
        xcb_send_event(client.connection(), 0, client.id(), XCB_EVENT_MASK_STRUCTURE_NOTIFY,
                       reinterpret_cast<const char*>(&event));
    }
    client.settle();
    desktop.show(1);
    EXPECT_TRUE(told.shows(1));
    desktop.capture().stop();
    EXPECT_EQ(told.events().size(), 1U);
}

// The thread of the stream waits for an answer that does not come.
TEST_F(X11Trial, StopsWhileTheServerServesAnotherProgram) {
    X11Desktop& desktop = start();
    xcb_grab_server(desktop.client().connection());
    desktop.show(1);
    desktop.client().settle();
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    const auto before = std::chrono::steady_clock::now();
    desktop.capture().stop();
    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(2));
    EXPECT_EQ(told.events().size(), 1U);
    xcb_ungrab_server(desktop.client().connection());
    desktop.client().settle();
}

// Memory cannot be shared through such a connection.
TEST_F(X11Trial, AServerThatIsReachedThroughTheNetwork) {
    X11Desktop desktop(Manager::None, {.border = 1}, {"-listen", "tcp"});
    auto capture = makeX11Capture("127.0.0.1" + desktop.display());
    ASSERT_TRUE(capture) << capture.error().message;
    told.start(**capture, desktop.window());
    ASSERT_TRUE(told.shows(0));
    desktop.show(1);
    EXPECT_TRUE(told.shows(1));
    const auto count = told.pictures().size();
    desktop.client().fill(0x123456, {-3, 100, 20, 20});
    EXPECT_TRUE(waitUntil([&] { return told.pictures().size() > count; }));
    desktop.show(2);
    EXPECT_TRUE(told.shows(2));
    desktop.resize(321, 200, 3);
    EXPECT_TRUE(told.shows(3, 321, 200));
    (*capture)->stop();
}

} // namespace platform::tests
