// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Code over the picture: another program's window and the console's own text, as the audience sees
// them.
#include "tests/app/WindowFixture.h"
#include "tests/platform/capture/x11/TestWindow.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <thread>

namespace app::tests {
namespace {

using platform::tests::TestWindow;

class OverlayTest : public WindowFixture {
protected:
    /// Whether a pixel of the first lines of text looks like that, in full screen.
    bool anyPixel(const std::function<bool(Colour)>& looks) const {
        for (int y = 44; y < 120; ++y) // the picture begins at 40
            for (int x = 4; x < 600; ++x)
                if (looks(screen.at(x, y)))
                    return true;
        return false;
    }
    static void fill(TestWindow& window, std::uint32_t colour) {
        window.fill(colour, {0, 0, 2000, 2000});
    }

    /// Windows that nobody captures lose what is drawn where others cover them.
    bool isWhiteWhenFilled(TestWindow& window) const {
        fill(window, 0xffffff);
        std::this_thread::sleep_for(milliseconds(50));
        return desktop.picture() == white;
    }

    const std::string file = files.file("black.metal", blackProgram);
};

} // namespace

TEST_F(OverlayTest, ShowsTheWindowThatIsPicked) {
    TestWindow window(desktop.display(), {.width = 300, .height = 200, .paints = false},
                      [](TestWindow& made) { made.setText("WM_NAME", "STRING", "editor"); });
    start(file, black);
    desktop.press("ctrl+l"); // opens the list, ready to be searched
    ASSERT_TRUE(eventually([&] {
        desktop.press("Return");
        return isWhiteWhenFilled(window);
    })) << console->output();

    fill(window, 0x808080); // half lets half of itself through
    EXPECT_TRUE(eventually([&] { return std::abs(desktop.picture().red - 64) <= 3; }));
    ASSERT_TRUE(window.resize(500, 420, 0));
    fill(window, 0xffffff);
    EXPECT_TRUE(desktop.shows(white));

    desktop.press("ctrl+l");
    EXPECT_TRUE(desktop.shows(black)) << "off";
    desktop.press("ctrl+l");
    EXPECT_TRUE(eventually([&] { return isWhiteWhenFilled(window); })) << "again, without asking";
    window.close();
    EXPECT_TRUE(desktop.shows(black));
    EXPECT_TRUE(saysWhatIsWrong());
}

TEST_F(OverlayTest, ShowsTheTextAndWhatIsWrongInIt) {
    start(file, black);
    desktop.press("ctrl+alt+l");
    const auto isText = [](Colour colour) { return colour.red > 150 && colour.blue > 150; };
    const auto isMark = [](Colour colour) { return colour.red > 30 && colour.blue < 20; };
    const auto shows = [&](const auto& looks) {
        return eventually([&] { return anyPixel(looks); });
    };
    desktop.press("F11");
    EXPECT_TRUE(shows(isText));
    EXPECT_FALSE(anyPixel(isMark));
    save(file, "void fx() {\n    cls(nothing);\n}\n");
    EXPECT_TRUE(shows(isMark));
    EXPECT_TRUE(anyPixel(isText));
    desktop.press("ctrl+l");
    EXPECT_TRUE(eventually([&] { return !anyPixel(isText) && !anyPixel(isMark); }));
}

} // namespace app::tests
