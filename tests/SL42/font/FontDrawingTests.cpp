// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The four pictures as drawn with the installed fonts: every character has its cell. Where it
// stands there, and what the styles look like, is seen in the golden pictures.
#include "SL42/font/FontDrawing.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace starloom {
namespace {

constexpr std::array<const char*, fontStyleCount> styleNames{"regular", "bold", "italic",
                                                             "outline"};

/// Drawn once for all tests; they only look.
class FontDrawing : public testing::Test {
protected:
    static void SetUpTestSuite() {
        const auto fonts = platform::FontLookup::open();
        ASSERT_TRUE(fonts);
        platform::Log log([](std::string_view line) { logged += line; });
        auto drawn = drawFontPictures({}, FontGrid(), *fonts, log);
        ASSERT_TRUE(drawn) << drawn.error().message;
        pictures = *std::move(drawn);
    }
    static void TearDownTestSuite() { pictures = {}; }

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
