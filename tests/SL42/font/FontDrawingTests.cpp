// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The four pictures as drawn with the installed fonts: every character where it belongs, in the
// weight and shape of its style.
#include "SL42/font/FontDrawing.h"

#include <gtest/gtest.h>

#include <chrono>
#include <iostream>
#include <string>
#include <vector>

namespace starloom {
namespace {

enum Style : std::size_t { Regular, Bold, Italic, Outline };
constexpr std::array<const char*, fontStyleCount> styleNames{"regular", "bold", "italic",
                                                             "outline"};

/// Drawn once for all tests; they only look.
class FontDrawing : public testing::Test {
protected:
    static void SetUpTestSuite() {
        const auto fonts = platform::FontLookup::open();
        ASSERT_TRUE(fonts);
        platform::Log log([](std::string_view line) { logged += line; });
        const auto start = std::chrono::steady_clock::now();
        auto drawn = drawFontPictures({}, FontGrid(), *fonts, log);
        const std::chrono::duration<double, std::milli> time =
            std::chrono::steady_clock::now() - start;
        ASSERT_TRUE(drawn) << drawn.error().message;
        std::cout << "drawing took " << time.count() << " ms\n";
        pictures = *std::move(drawn);
    }
    static void TearDownTestSuite() { pictures = {}; }

    static int at(std::size_t style, std::size_t x, std::size_t y) {
        return std::to_integer<int>(pictures.styles[style]->bytes()[y * pictures.size + x]);
    }
    /// Coverage of a rectangle in pixels.
    static double ink(std::size_t style, const Cell& area) {
        std::uint64_t sum = 0;
        const std::byte* pixels = pictures.styles[style]->bytes().data();
        for (std::size_t y = area.y; y < area.y + area.height; ++y) {
            const std::byte* row = pixels + y * pictures.size + area.x;
            for (std::size_t x = 0; x < area.width; ++x)
                sum += static_cast<std::uint64_t>(row[x]);
        }
        return static_cast<double>(sum) / 255;
    }
    static Cell cellOf(char character) {
        return FontGrid().cell(static_cast<std::size_t>(character - firstCharacter));
    }

    static inline FontPictures pictures;
    static inline std::string logged;
};

TEST_F(FontDrawing, EveryCharacterIsInItsCellWithRoomAround) {
    EXPECT_EQ(logged, "") << "no style makes do with a substitute";
    for (std::size_t style = 0; style < fontStyleCount; ++style) {
        double inCells = 0;
        for (char character = firstCharacter; character <= '~'; ++character) {
            const Cell cell = cellOf(character);
            const double all = ink(style, cell);
            inCells += all;
            EXPECT_EQ(all > 0, character != ' ') << styleNames[style] << " " << character;
            // At half a texel of distance, mip levels up to the fourth do not mix neighbours.
            constexpr std::uint32_t margin = 8;
            const Cell inner{cell.x + margin, cell.y + margin, cell.width - 2 * margin,
                             cell.height - 2 * margin};
            EXPECT_EQ(ink(style, inner), all) << styleNames[style] << " " << character;
        }
        const Cell everything{0, 0, pictures.size, pictures.size};
        EXPECT_NEAR(ink(style, everything), inCells, 1e-3) << styleNames[style];
    }
}

TEST_F(FontDrawing, StylesDifferAsTheirNamesSay) {
    for (const char character : std::string("AgQ|8")) {
        const Cell cell = cellOf(character);
        EXPECT_GT(ink(Bold, cell), 1.04 * ink(Regular, cell)) << character;
        EXPECT_LT(ink(Outline, cell), ink(Bold, cell)) << character;
    }
    // The stem of an l: full in the bold style; in the outline two lines with a gap between.
    const Cell cell = cellOf('l');
    const std::size_t row = cell.y + 200;
    std::size_t left = cell.x;
    while (at(Bold, left, row) < 255)
        ++left;
    std::size_t right = left;
    while (at(Bold, right, row) == 255)
        ++right;
    EXPECT_GT(right - left, 40U);
    EXPECT_EQ(at(Outline, (left + right) / 2, row), 0);
    EXPECT_EQ(at(Outline, left, row), 255);
    EXPECT_EQ(at(Outline, right - 1, row), 255);

    // The italic stem of an l leans to the right: its upper half lies further right than upright.
    const auto centre = [](std::size_t style, const Cell& area) {
        double sum = 0;
        for (std::size_t x = area.x; x < area.x + area.width; ++x)
            sum += static_cast<double>(x) *
                   ink(style, {static_cast<std::uint32_t>(x), area.y, 1, area.height});
        return sum / ink(style, area);
    };
    const Cell bar = cellOf('|');
    const Cell upper{bar.x, bar.y, bar.width, 150};
    const Cell lower{bar.x, bar.y + 300, bar.width, 150};
    EXPECT_NEAR(centre(Regular, upper), centre(Regular, lower), 1);
    EXPECT_GT(centre(Italic, bar) + 1, centre(Regular, bar));
    EXPECT_GT(centre(Italic, {cell.x, cell.y, cell.width, 150}),
              centre(Italic, {cell.x, cell.y + 200, cell.width, 100}) + 10);
}

TEST_F(FontDrawing, AllStylesStandOnTheSameBaseline) {
    // 136 pixels above the bottom of the row.
    const Cell cell = cellOf('H');
    for (const std::size_t style : {Regular, Bold, Italic}) {
        const std::uint32_t baseline = cell.y + 494 - 136;
        EXPECT_GT(ink(style, {cell.x, baseline - 1, cell.width, 1}), 20) << styleNames[style];
        EXPECT_EQ(ink(style, {cell.x, baseline, cell.width, 1}), 0) << styleNames[style];
    }
}

TEST(FontDrawingFailures, MissingFacesAreNamedAndStoppingStops) {
    const auto fonts = platform::FontLookup::open();
    ASSERT_TRUE(fonts);
    std::vector<std::string> lines;
    platform::Log log([&](std::string_view line) { lines.emplace_back(line); });
    const FontGrid grid(512);
    FontNames names;
    names.italic = "NoSuchFace-Italic";
    ASSERT_TRUE(drawFontPictures(names, grid, *fonts, log));
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_TRUE(lines[0].starts_with("Font NoSuchFace-Italic is missing, using /")) << lines[0];

    std::stop_source stop;
    stop.request_stop();
    EXPECT_FALSE(drawFontPictures({}, grid, *fonts, log, {}, stop.get_token()));
}

} // namespace
} // namespace starloom
