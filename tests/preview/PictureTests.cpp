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

// The definition in double precision: chromaticities to matrices, and the curve both ways.
struct Matrix {
    std::array<std::array<double, 3>, 3> m{};
};

Matrix inverse(const Matrix& a) {
    Matrix result;
    double determinant = 0;
    for (std::size_t i = 0; i < 3; ++i) {
        const std::size_t j = (i + 1) % 3;
        const std::size_t k = (i + 2) % 3;
        determinant += a.m[0][i] * (a.m[1][j] * a.m[2][k] - a.m[1][k] * a.m[2][j]);
        for (std::size_t c = 0; c < 3; ++c) {
            const std::size_t d = (c + 1) % 3;
            const std::size_t e = (c + 2) % 3;
            result.m[i][c] = a.m[d][j] * a.m[e][k] - a.m[d][k] * a.m[e][j];
        }
    }
    for (auto& row : result.m)
        for (double& value : row)
            value /= determinant;
    return result;
}

std::array<double, 3> transform(const Matrix& a, const std::array<double, 3>& v) {
    std::array<double, 3> result{};
    for (std::size_t i = 0; i < 3; ++i)
        result[i] = a.m[i][0] * v[0] + a.m[i][1] * v[1] + a.m[i][2] * v[2];
    return result;
}

std::array<double, 3> tristimulus(double x, double y) {
    return {x / y, 1, (1 - x - y) / y};
}

Matrix toTristimulus(const std::array<std::array<double, 2>, 3>& primaries) {
    Matrix columns;
    for (std::size_t i = 0; i < 3; ++i)
        for (std::size_t row = 0; row < 3; ++row)
            columns.m[row][i] = tristimulus(primaries[i][0], primaries[i][1])[row];
    const auto scale = transform(inverse(columns), tristimulus(0.3127, 0.3290));
    for (auto& row : columns.m)
        for (std::size_t i = 0; i < 3; ++i)
            row[i] *= scale[i];
    return columns;
}

double decode(double v) {
    const double size = std::abs(v);
    return std::copysign(size <= 0.04045 ? size / 12.92 : std::pow((size + 0.055) / 1.055, 2.4), v);
}

double encode(double v) {
    return v <= 0.0031308 ? v * 12.92 : 1.055 * std::pow(v, 1 / 2.4) - 0.055;
}

TEST(DisplayColours, WideColoursAreConvertedByTheDefinition) {
    const Matrix p3 = toTristimulus({{{0.680, 0.320}, {0.265, 0.690}, {0.150, 0.060}}});
    const Matrix srgb = toTristimulus({{{0.640, 0.330}, {0.300, 0.600}, {0.150, 0.060}}});
    for (int step = 0; step < 5 * 5 * 5; ++step) {
        const auto channel = [](int at) { return -0.25 + 0.375 * at; }; // exact as half floats
        const std::array<double, 3> encoded{channel(step % 5), channel(step / 5 % 5),
                                            channel(step / 25)};
        const auto light =
            transform(inverse(srgb),
                      transform(p3, {decode(encoded[0]), decode(encoded[1]), decode(encoded[2])}));
        const std::uint32_t pixel =
            onScreen({static_cast<float>(encoded[0]), static_cast<float>(encoded[1]),
                      static_cast<float>(encoded[2]), 0});
        for (std::size_t i = 0; i < 3; ++i) {
            const double expected = std::clamp(encode(light[i]), 0.0, 1.0) * 255;
            EXPECT_NEAR(pixel >> (16 - 8 * i) & 0xff, expected, 0.75) << "step " << step;
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
    struct Case {
        const char* name;
        int width, height;
        bool wholeOnly;
        PicturePlacement expected;
    };
    for (const Case& c : {
             Case{"own size", 960, 540, false, {0, 0, 960, 540}},
             Case{"1080p", 1920, 1080, false, {0, 0, 1920, 1080}},
             Case{"4K", 3840, 2160, false, {0, 0, 3840, 2160}},
             Case{"a title bar is missing from 2x", 1920, 1100, false, {0, 10, 1920, 1080}},
             Case{"just above whole", 2000, 1200, false, {40, 60, 1920, 1080}},
             Case{"far from whole", 1440, 900, false, {0, 45, 1440, 810}},
             Case{"far from whole, only whole wanted", 1440, 900, true, {240, 180, 960, 540}},
             Case{"smaller than the picture", 480, 480, true, {0, 105, 480, 270}},
             Case{"a line", 960, 1, false, {479, 0, 2, 1}},
             Case{"nothing", 0, 100, false, {0, 0, 0, 0}},
         })
        EXPECT_EQ(placePicture(c.width, c.height, c.wholeOnly), c.expected) << c.name;
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
