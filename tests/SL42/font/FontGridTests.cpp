// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The grid against the numbers that the prelude's text functions are written for.
#include "SL42/font/FontGrid.h"

#include <gtest/gtest.h>

namespace starloom {
namespace {

/// Liberation Mono at 410.02 pixels, from its file: 1705, 615 and 1229 of 2048 units.
constexpr LineMetrics liberationMono{.ascent = 341.35, .descent = 123.13, .widest = 246.05};

TEST(FontGrid, CellsAreWhereThePreludeReadsThem) {
    const FontGrid grid;
    EXPECT_EQ(grid.columns(), 12U);
    EXPECT_DOUBLE_EQ(grid.fontSize(), 2 * 205.01);
    EXPECT_EQ(grid.cell(0), (Cell{0, 0, 340, 494}));
    EXPECT_EQ(grid.cell('A' - ' '), (Cell{9 * 340, 2 * 494, 340, 494}));
    EXPECT_EQ(grid.cell('~' - ' '), (Cell{10 * 340, 7 * 494, 340, 494}));
}

TEST(FontGrid, LinesAreCentredInTheirRowsToWholePoints) {
    // In points: the baseline is trunc(61.565 + (247 - 232.24) / 2) = 68 above the row's bottom,
    // and the inset is trunc((170 - 123.025) / 2) = 23.
    const FontGrid grid;
    EXPECT_EQ(grid.baseline(0, liberationMono), (platform::Point{46, 494 - 136}));
    EXPECT_EQ(grid.baseline('A' - ' ', liberationMono),
              (platform::Point{9 * 340 + 46, 3 * 494 - 136}));
    // Halved toward zero, also when the characters are wider than the column: (170 - 175) / 2.
    EXPECT_EQ(grid.baseline(0, {.ascent = 300, .descent = 100, .widest = 350}).x, -4);
}

} // namespace
} // namespace starloom
