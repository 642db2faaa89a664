// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// From the console's half floats to pixels of the screen.
#include "platform/image/DisplayColours.h"
#include "platform/image/Image.h"
#include "preview/PicturePlacement.h"
#include "preview/PictureScaler.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <vector>

namespace starloom {
namespace {

using Colour = std::array<float, 4>;

std::uint32_t onScreen(const Colour& colour) {
    platform::Image image(2, 1);
    image.setPixel(1, 0, colour); // the second of two, so that it is not the first of its kind
    std::array<std::uint32_t, 2> pixels{};
    platform::convertToDisplay(image.halves(), pixels);
    return pixels[1];
}

TEST(DisplayColours, GreysKeepTheirBytes) {
    for (std::uint32_t byte = 0; byte < 256; ++byte) {
        const float grey = static_cast<float>(byte) / 255.0F;
        EXPECT_EQ(onScreen({grey, grey, grey, 1}), 0xff000000U | byte * 0x010101U) << byte;
    }
}

double decode(double v) {
    const double size = std::abs(v);
    return std::copysign(size <= 0.04045 ? size / 12.92 : std::pow((size + 0.055) / 1.055, 2.4), v);
}

double encode(double v) {
    return v <= 0.0031308 ? v * 12.92 : 1.055 * std::pow(v, 1 / 2.4) - 0.055;
}

// In double precision: the curve both ways, and the matrix from Display P3 to sRGB, which follows
// from the primaries of the two.
TEST(DisplayColours, WideColoursAreConvertedByTheDefinition) {
    constexpr double matrix[3][3] = {{1.2249402, -0.2249402, 0},
                                     {-0.0420570, 1.0420570, 0},
                                     {-0.0196376, -0.0786361, 1.0982736}};
    for (int step = 0; step < 5 * 5 * 5; ++step) {
        const auto channel = [](int at) { return -0.25F + 0.375F * float(at); }; // exact as halves
        const float encoded[] = {channel(step % 5), channel(step / 5 % 5), channel(step / 25)};
        const std::uint32_t pixel = onScreen({encoded[0], encoded[1], encoded[2], 0});
        for (std::size_t row = 0; row < 3; ++row) {
            double light = 0;
            for (std::size_t column = 0; column < 3; ++column)
                light += matrix[row][column] * decode(encoded[column]);
            const double expected = std::clamp(encode(light), 0.0, 1.0) * 255;
            EXPECT_NEAR(pixel >> (16 - 8 * row) & 0xff, expected, 0.75) << "step " << step;
        }
    }
}

TEST(DisplayColours, ClipsWhatNoScreenShows) {
    const float infinity = std::numeric_limits<float>::infinity();
    EXPECT_EQ(onScreen({2, 2, 1.5, 0}), 0xffffffffU);
    EXPECT_EQ(onScreen({infinity, infinity, infinity, 1}), 0xffffffffU);
    EXPECT_EQ(onScreen({-1, -1, -0.5, 1}), 0xff000000U);
    EXPECT_EQ(onScreen({std::nanf(""), 0, 0, 1}), 0xff000000U);
}

TEST(PicturePlacement, PrefersWholeNumbers) {
    const std::tuple<const char*, int, int, bool, PicturePlacement> cases[] = {
        {"own size", 960, 540, false, {0, 0, 960, 540}},
        {"1080p", 1920, 1080, false, {0, 0, 1920, 1080}},
        {"4K", 3840, 2160, false, {0, 0, 3840, 2160}},
        {"a title bar is missing from 2x", 1920, 1100, false, {0, 10, 1920, 1080}},
        {"just above whole", 2000, 1200, false, {40, 60, 1920, 1080}},
        {"far from whole", 1440, 900, false, {0, 45, 1440, 810}},
        {"far from whole, only whole wanted", 1440, 900, true, {240, 180, 960, 540}},
        {"smaller than the picture", 480, 480, true, {0, 105, 480, 270}},
        {"a line", 960, 1, false, {479, 0, 2, 1}},
        {"nothing", 0, 100, false, {0, 0, 0, 0}},
    };
    for (const auto& [name, width, height, wholeOnly, expected] : cases)
        EXPECT_EQ(placePicture(width, height, wholeOnly), expected) << name;
}

std::vector<std::uint32_t> scaled(PictureScaler::Size from, PictureScaler::Size to,
                                  const std::vector<std::uint32_t>& source) {
    std::vector<std::uint32_t> target(to.area());
    PictureScaler(from, to).scale(source, target);
    return target;
}

TEST(PictureScaler, RepeatsAtWholeScalesAndMixesOnlyAcrossBorders) {
    using Pixels = std::vector<std::uint32_t>;
    constexpr std::uint32_t a = 0xff102030;
    constexpr std::uint32_t b = 0xff305070;
    constexpr std::uint32_t half = 0xff203850;
    EXPECT_EQ(scaled({2, 2}, {4, 4}, {a, b, b, a}),
              (Pixels{a, a, b, b, a, a, b, b, b, b, a, a, b, b, a, a}));
    EXPECT_EQ(scaled({2, 1}, {5, 1}, {a, b}), (Pixels{a, a, half, b, b}));
    EXPECT_EQ(scaled({1, 2}, {1, 5}, {a, b}), (Pixels{a, a, half, b, b}));
    EXPECT_EQ(scaled({4, 2}, {2, 1}, {a, b, b, b, a, b, b, b}), (Pixels{half, b}));
}

} // namespace
} // namespace starloom
