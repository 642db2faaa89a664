// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/capture/portal/PictureLayout.h"

#include <gtest/gtest.h>

#include <array>
#include <climits>
#include <cstdint>
#include <optional>
#include <random>

namespace platform::tests {
namespace {

constexpr PictureFormat format{.width = 100, .height = 50};
constexpr std::size_t packed = std::size_t{100} * 50 * 4;

TEST(PictureLayout, SaysWhereTheWindowIs) {
    constexpr std::size_t lastByte = 64 + std::size_t{49} * 512 + 400;
    EXPECT_EQ(checkedLayout(format, {.size = 1}, std::nullopt, packed),
              (PictureLayout{0, packed, 400, 100, 50}))
        << "no stride";
    EXPECT_EQ(checkedLayout(format, {64, 1, 512}, std::nullopt, lastByte),
              (PictureLayout{64, lastByte - 64, 512, 100, 50}))
        << "the last row without its padding";
    EXPECT_EQ(checkedLayout(format, {64, 1, 512}, CropClaim{10, 20, 30, 5}, 30'000),
              (PictureLayout{10'344, 2560, 512, 30, 5}));
    EXPECT_EQ(checkedLayout(format, {0, 1, 400}, CropClaim{-5, 40, 10, 1000}, packed),
              (PictureLayout{16'000, 4000, 400, 5, 10}))
        << "what of the crop is in the picture";
    EXPECT_EQ(checkedLayout(format, {0, 1, 400}, CropClaim{7, 7, 0, 9}, packed),
              (PictureLayout{0, packed, 400, 100, 50}))
        << "a crop that is none";
}

TEST(PictureLayout, RefusesWhatIsNotThere) {
    struct Row {
        const char* what;
        PictureFormat format;
        PictureClaim claim;
        std::optional<CropClaim> crop;
        std::size_t available;
    };
    const std::array rows{
        Row{"one byte too few", format, {0, 1, 400}, std::nullopt, packed - 1},
        Row{"offset past the end", format, {1, 1, 400}, std::nullopt, packed},
        Row{"largest offset", format, {UINT_MAX, 1, 400}, std::nullopt, packed},
        Row{"largest stride", format, {0, 1, INT_MAX}, std::nullopt, packed},
        Row{"rows that overlap", format, {0, 1, 399}, std::nullopt, packed},
        Row{"upside down", format, {19'600, 1, -400}, std::nullopt, packed},
        Row{"least stride", format, {0, 1, INT_MIN}, std::nullopt, packed},
        Row{"no width", {0, 50}, {0, 1, 400}, std::nullopt, packed},
        Row{"no height", {100, 0}, {0, 1, 400}, std::nullopt, packed},
        Row{"largest size", {UINT_MAX, UINT_MAX}, {0, 1, 0}, std::nullopt, SIZE_MAX},
        Row{"crop beside it", format, {0, 1, 400}, CropClaim{100, 0, 10, 10}, packed},
        Row{"crop before it", format, {0, 1, 400}, CropClaim{INT_MIN, 0, 10, 10}, packed},
        Row{"crop far below", format, {0, 1, 400}, CropClaim{0, INT_MAX, UINT_MAX, 9}, packed},
        Row{"no memory", format, {0, 1, 400}, std::nullopt, 0},
    };
    for (const Row& row : rows)
        EXPECT_FALSE(checkedLayout(row.format, row.claim, row.crop, row.available)) << row.what;
}

/// Numbers near those at which arithmetic goes wrong.
std::uint32_t oddNumber(std::mt19937& random) {
    constexpr std::array<std::uint32_t, 8> bases{0,           1,       100,        400,
                                                 largestSide, INT_MAX, 0x80000000, UINT_MAX};
    return bases[random() % bases.size()] + random() % 5 - 2;
}

TEST(PictureLayout, NeverLeavesTheBuffer) {
    std::mt19937 random(42);
    unsigned accepted = 0;
    for (int i = 0; i < 300'000; ++i) {
        const PictureFormat odd{oddNumber(random), oddNumber(random)};
        const PictureClaim claim{oddNumber(random), 1,
                                 static_cast<std::int32_t>(oddNumber(random))};
        const CropClaim crop{static_cast<std::int32_t>(oddNumber(random)),
                             static_cast<std::int32_t>(oddNumber(random)), oddNumber(random),
                             oddNumber(random)};
        const std::size_t available = std::size_t{oddNumber(random)} << random() % 4;
        const auto layout = checkedLayout(odd, claim, crop, available);
        if (!layout)
            continue;
        ++accepted;
        const std::size_t lastRow = layout->offset + (layout->height - 1) * layout->bytesPerRow;
        ASSERT_LE(lastRow + std::size_t{layout->width} * 4, layout->offset + layout->size);
        ASSERT_LE(layout->offset + layout->size, available);
        ASSERT_GE(layout->bytesPerRow, std::size_t{layout->width} * 4);
        ASSERT_TRUE(layout->width > 0 && layout->height > 0);
    }
    EXPECT_GT(accepted, 1000U);
}

} // namespace
} // namespace platform::tests
