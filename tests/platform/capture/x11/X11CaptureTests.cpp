// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What only X windows go through while they are captured.
#include "platform/capture/x11/X11Capture.h"
#include "tests/platform/capture/Recording.h"
#include "tests/platform/capture/x11/X11Desktop.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstring>

namespace platform::tests {
namespace {

using X11Capture = X11Stream;

const TestWindow::Options bordered{.depth = 32, .border = 5};
/// Lies above any other.
const TestWindow::Options cover{.width = 900, .height = 700, .isOverridden = true, .paints = false};

std::optional<std::uint32_t> read(const WindowPicture& picture) {
    return readTestPicture(
        {picture.pixels, std::size_t{picture.width} * 4, picture.width, picture.height, 1});
}

} // namespace

TEST_F(X11Capture, SeesWhatIsHiddenOrOutside) {
    for (const TestWindow::Options& options : {TestWindow::Options{}, bordered}) {
        Recording seen;
        X11Desktop desktop(Manager::None, options);
        TestWindow above(desktop.display(), cover);
        above.fill(0xff8000, {0, 0, 900, 700});
        above.settle();
        EXPECT_EQ(read(desktop.picture()), 0U) << "covered";
        desktop.show(1);
        desktop.client().settle();
        seen.start(desktop.capture(), desktop.window());
        ASSERT_TRUE(seen.shows(1));
        EXPECT_EQ(seen.pictures()[0].counter, 1U) << "no picture has a part of another window";
        std::uint32_t counter = 2;
        for (const auto& [x, y] : {std::pair(-300, -100), {5000, 5000}, {-20000, 0}, {20, 30}}) {
            desktop.client().configure(
                XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y,
                {static_cast<std::uint32_t>(x), static_cast<std::uint32_t>(y)});
            desktop.show(counter);
            EXPECT_TRUE(seen.shows(counter++)) << x;
        }
        EXPECT_EQ(kinds(seen), std::vector{Kind::Started});
    }
}

TEST_F(X11Capture, ReadsWhatHasChanged) {
    X11Desktop& desktop = start(Manager::None, bordered);
    // Corners, edges and what does not fill a word: after each the picture is the test's again.
    const xcb_rectangle_t parts[] = {{0, 0, 1, 1},       {639, 399, 1, 1},  {-5, 100, 20, 7},
                                     {300, -9, 33, 500}, {100, 50, 321, 9}, {630, 390, 200, 200},
                                     {0, 399, 640, 1},   {319, 0, 320, 400}};
    for (const xcb_rectangle_t& part : parts) {
        auto count = told.pictures().size();
        desktop.client().fill(0x123456, part);
        EXPECT_TRUE(waitUntil([&] { return told.pictures().size() > count; }));
        EXPECT_EQ(told.pictures().back().counter, std::nullopt);
        count = told.pictures().size();
        desktop.show(0);
        EXPECT_TRUE(waitUntil([&] {
            return told.pictures().size() > count && told.pictures().back().counter == 0U;
        }));
    }
    // What lies inside the window belongs to it.
    xcb_connection_t* const x = desktop.client().connection();
    const xcb_window_t inner = xcb_generate_id(x);
    const std::uint32_t colour = 0xff8000;
    xcb_create_window(x, 0, inner, desktop.client().id(), 50, 60, 70, 80, 0,
                      XCB_WINDOW_CLASS_COPY_FROM_PARENT, 0, XCB_CW_BACK_PIXEL, &colour);
    xcb_map_window(x, inner);
    desktop.client().settle();
    EXPECT_TRUE(waitUntil([&] { return !told.pictures().back().counter; }));
    xcb_destroy_window(x, inner); // after which the program paints again what it hid
    desktop.client().settle();
    EXPECT_TRUE(waitUntil([&] { return told.pictures().back().counter == 0U; }));
}

TEST_F(X11Capture, SaysWhenTheWindowIsMinimised) {
    X11Desktop& desktop = start(Manager::Openbox);
    EXPECT_FALSE(desktop.capture().windows()->at(0).isMinimised);
    ASSERT_TRUE(desktop.client().minimise());
    ASSERT_TRUE(told.hears(Kind::Paused));
    EXPECT_FALSE(told.events().back().description.empty());
    EXPECT_TRUE(desktop.capture().windows()->at(0).isMinimised);
    const auto none = desktop.capture().picture(desktop.client().id());
    ASSERT_FALSE(none);
    EXPECT_EQ(none.error().message, "the window is minimised, hidden or on another desktop");
    ASSERT_TRUE(desktop.client().restore());
    ASSERT_TRUE(told.hears(Kind::Resumed));
    desktop.show(1);
    EXPECT_TRUE(told.shows(1));
    EXPECT_EQ(kinds(told), (std::vector{Kind::Started, Kind::Paused, Kind::Resumed}));

    ASSERT_TRUE(desktop.client().minimise());
    again.start(desktop.capture(), desktop.window());
    ASSERT_TRUE(again.hears(Kind::Paused)) << "minimised from the beginning";
    EXPECT_TRUE(again.pictures().empty());
    ASSERT_TRUE(desktop.client().restore());
    EXPECT_TRUE(again.shows(1));
    EXPECT_EQ(kinds(again), (std::vector{Kind::Started, Kind::Paused, Kind::Resumed}));
}

TEST_F(X11Capture, OutlivesTheWindowManager) {
    X11Desktop& desktop = start(Manager::Openbox);
    desktop.stopManager();
    desktop.show(1);
    EXPECT_TRUE(told.shows(1));
    desktop.startManager();
    ASSERT_TRUE(desktop.client().restore());
    desktop.show(2);
    EXPECT_TRUE(told.shows(2));
    EXPECT_EQ(std::ranges::count(kinds(told), Kind::Stopped), 0);
}

TEST_F(X11Capture, OnePictureDoesNotDisturbTheStream) {
    X11Desktop& desktop = start(Manager::Openbox);
    for (std::uint32_t counter = 1; counter <= 5; ++counter) {
        const auto before = told.pictures().size();
        const WindowPicture picture = desktop.picture();
        EXPECT_EQ(read(picture), counter - 1);
        EXPECT_EQ(std::pair(picture.width, picture.height), std::pair(640U, 400U));
        EXPECT_EQ(told.pictures().size(), before);
        desktop.show(counter);
        ASSERT_TRUE(told.shows(counter));
    }
}

TEST_F(X11Capture, SaysWhenTheServerIsGone) {
    X11Desktop& desktop = start();
    const std::string display = desktop.display();
    desktop.killServer();
    ASSERT_TRUE(told.hears(Kind::Stopped));
    EXPECT_FALSE(told.events().back().description.empty()); // it may close the windows before
    for (const auto& problem :
         {desktop.capture().windows().error(), desktop.capture().picture(1).error(),
          makeX11Capture(display).error()})
        EXPECT_EQ(problem.message, "the X server cannot be reached");
    again.start(desktop.capture(), 1);
    ASSERT_TRUE(again.hears(Kind::Stopped));
    desktop.capture().stop();
    EXPECT_EQ(again.events().back().description, "the X server cannot be reached");
}

TEST_F(X11Capture, NeedsTheExtensions) {
    for (const char* extension : {"Composite", "DAMAGE", "MIT-SHM"}) {
        const starloom::XServer server({"-extension", extension});
        const auto capture = makeX11Capture(server.display());
        ASSERT_FALSE(capture) << extension;
        EXPECT_EQ(capture.error().message, "the X server does not let windows be captured");
    }
}

} // namespace platform::tests
