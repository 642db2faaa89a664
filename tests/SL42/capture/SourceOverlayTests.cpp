// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/capture/SourceOverlay.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <memory>
#include <string>

namespace starloom {
namespace {

constexpr std::size_t cellHeight = SourceOverlay::height / SourceOverlay::rowCount;
constexpr std::size_t cellWidth = SourceOverlay::width / SourceOverlay::columnCount;

class SourceOverlayTest : public testing::Test {
protected:
    void SetUp() override {
        auto made = SourceOverlay::create();
        ASSERT_TRUE(made) << made.error().message;
        overlay = std::make_unique<SourceOverlay>(*std::move(made));
    }
    /// The brightest luma in the cells of a row from one column to another, both included.
    static int brightest(CaptureSurface& surface, std::size_t row, std::size_t first,
                         std::size_t last) {
        const auto planes = surface.planes();
        int most = 0;
        for (std::size_t y = row * cellHeight; y < (row + 1) * cellHeight; ++y)
            for (std::size_t x = first * cellWidth; x < (last + 1) * cellWidth; ++x)
                most = std::max(most,
                                std::to_integer<int>(planes.luma[y * planes.lumaBytesPerRow + x]));
        return most;
    }
    /// V of chroma in the middle of a row.
    static int redness(CaptureSurface& surface, std::size_t row) {
        const auto planes = surface.planes();
        const std::size_t y = (row * cellHeight + cellHeight / 2) / 2;
        return std::to_integer<int>(planes.chroma[y * planes.chromaBytesPerRow + 401]);
    }
    static std::string lines(std::size_t count) {
        std::string text;
        for (std::size_t line = 1; line < count; ++line)
            text += "line\n";
        return text + "last";
    }

    std::unique_ptr<SourceOverlay> overlay;
};

} // namespace

TEST_F(SourceOverlayTest, ShowsTextWithNumbers) {
    const auto surface = overlay->draw("void fx() {\n\tcls(1);\r\n}\n\xc3\xa4 \xff\xe2\x82", 1, {});
    ASSERT_TRUE(surface);
    EXPECT_GT(brightest(*surface, 0, 5, 15), 200);
    EXPECT_EQ(brightest(*surface, 0, 16, 110), 0) << "nothing behind the text";
    const int number = brightest(*surface, 0, 3, 3);
    EXPECT_GT(number, 60);
    EXPECT_LT(number, 130) << "less bright than the text";
    EXPECT_EQ(brightest(*surface, 1, 5, 8), 0) << "a tab";
    EXPECT_GT(brightest(*surface, 1, 9, 9), 200);
    EXPECT_EQ(brightest(*surface, 1, 16, 16), 0) << "no sign for the carriage return";
    EXPECT_GT(brightest(*surface, 3, 5, 5), 200) << "not only ASCII";
    EXPECT_EQ(brightest(*surface, 4, 0, 110), 0);
    EXPECT_NEAR(redness(*surface, 0), 128, 1);
}

TEST_F(SourceOverlayTest, MarksTheErrorAndShowsIt) {
    const auto surface = overlay->draw(lines(200), 1, 80);
    ASSERT_TRUE(surface);
    std::size_t marked = 0;
    for (std::size_t row = 0; row < SourceOverlay::rowCount; ++row)
        marked += redness(*surface, row) > 150 ? 1 : 0;
    EXPECT_EQ(marked, 1U);
    EXPECT_GT(redness(*surface, SourceOverlay::rowCount / 2), 150) << "in the middle";
    EXPECT_TRUE(overlay->draw("one line", 1, 5000)) << "a line that is not there";
    EXPECT_TRUE(overlay->draw("", 0, {}));
    EXPECT_TRUE(overlay->draw(std::string(100'000, 'x'), 7, {}));
}

TEST_F(SourceOverlayTest, FollowsTheChange) {
    EXPECT_EQ(SourceOverlay::firstChange("a\nb\nc", "a\nB\nc"), 2U);
    EXPECT_EQ(SourceOverlay::firstChange("a\nb\nc", "a\nb\nc\nd"), 4U);
    EXPECT_EQ(SourceOverlay::firstChange("a\nb\nc", "a\nb"), 2U);
    EXPECT_EQ(SourceOverlay::firstChange("", "a"), 1U);
    const auto end = overlay->draw(lines(100), 100, {});
    ASSERT_TRUE(end);
    EXPECT_GT(brightest(*end, SourceOverlay::rowCount - 1, 5, 8), 200) << "no empty rows";
    EXPECT_GT(brightest(*end, 0, 5, 8), 200);
}

} // namespace starloom
