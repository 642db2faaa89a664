// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Captured colours come back from the planes as the display reads them.
#include "platform/capture/YUVConverter.h"
#include "tests/platform/capture/TestPicture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

namespace platform::tests {
namespace {

/// A picture with padded rows.
struct Pixels {
    Pixels(std::uint32_t pictureWidth, std::uint32_t pictureHeight)
        : width(pictureWidth), height(pictureHeight), bytes(rowLength() * pictureHeight) {
        for (std::uint32_t y = 0; y < height; ++y)
            for (std::uint32_t x = 0; x < width; ++x)
                set(x, y, testPixel(x, y, width, height, 0xa5f0));
    }
    std::size_t rowLength() const { return std::size_t{width} * 4 + 12; }
    void set(std::uint32_t x, std::uint32_t y, std::uint32_t colour) {
        for (std::size_t channel = 0; channel < 3; ++channel)
            bytes[y * rowLength() + std::size_t{x} * 4 + channel] =
                static_cast<std::byte>(colour >> 8 * channel);
    }
    CapturedPicture picture() const {
        return {.pixels = bytes, .bytesPerRow = rowLength(), .width = width, .height = height};
    }

    std::uint32_t width;
    std::uint32_t height;
    std::vector<std::byte> bytes;
};

/// Planes between bytes that nobody may write.
class Planes {
public:
    Planes(std::uint32_t width, std::uint32_t height)
        : m_lumaRow(width + 3),
          m_chromaRow(std::size_t{2} * chromaExtent(width) + 5),
          m_luma(m_lumaRow * height, untouched),
          m_chroma(m_chromaRow * chromaExtent(height), untouched),
          view{m_luma, m_lumaRow, m_chroma, m_chromaRow, width, height} {}

    /// As the display does it.
    std::array<int, 3> colourAt(std::uint32_t x, std::uint32_t y) const {
        const auto at = [](const std::vector<std::byte>& plane, std::size_t place) {
            return std::to_integer<int>(plane[place]) / 255.0;
        };
        const std::size_t pair = y / 2 * m_chromaRow + x / 2 * 2;
        const double luma = at(m_luma, y * m_lumaRow + x);
        const double u = at(m_chroma, pair) * 2 - 1;
        const double v = at(m_chroma, pair + 1) * 2 - 1;
        const auto byte = [](double value) {
            return static_cast<int>(std::lround(std::clamp(value, 0.0, 1.0) * 255));
        };
        return {byte(luma + 1.371 * v), byte(luma - 0.336 * u - 0.698 * v), byte(luma + 1.732 * u)};
    }
    bool hasPaddingUntouched() const {
        const auto isUntouched = [](const auto& plane, std::size_t row, std::size_t used) {
            for (std::size_t i = 0; i < plane.size(); ++i)
                if (i % row >= used && plane[i] != untouched)
                    return false;
            return true;
        };
        return isUntouched(m_luma, m_lumaRow, view.width) &&
               isUntouched(m_chroma, m_chromaRow, m_chromaRow - 5);
    }

private:
    static constexpr std::byte untouched{0x5a};
    std::size_t m_lumaRow;
    std::size_t m_chromaRow;
    std::vector<std::byte> m_luma;
    std::vector<std::byte> m_chroma;

public:
    const YUVPlanes view;
};

void expectColour(const std::array<int, 3>& found, std::uint32_t expected) {
    for (std::size_t channel = 0; channel < 3; ++channel)
        EXPECT_NEAR(found[channel], static_cast<int>(expected >> (16 - 8 * channel) & 0xffU), 4)
            << std::hex << expected;
}

/// The middle of the bar of a colour in the lower half.
void expectBars(const Planes& planes) {
    for (std::uint32_t bar = 0; bar < testColours.size(); ++bar)
        expectColour(
            planes.colourAt((2 * bar + 1) * planes.view.width / 16, planes.view.height * 7 / 8),
            testColours[bar]);
}

TEST(YUVConverterTests, ColoursComeBack) {
    YUVConverter converter;
    for (const auto& [width, height] : {std::pair{640U, 400U}, {163U, 51U}, {1600U, 1200U}}) {
        const Pixels pixels(width, height);
        for (const auto& [toWidth, toHeight] :
             {std::pair{width, height}, {2 * width, 2 * height}, {width / 2 + 1, height / 2}}) {
            const Planes planes(toWidth, toHeight);
            converter.convert(pixels.picture(), planes.view);
            expectBars(planes);
            EXPECT_TRUE(planes.hasPaddingUntouched()) << toWidth;
        }
    }
}

TEST(YUVConverterTests, OnePixel) {
    Pixels pixels(1, 1);
    pixels.set(0, 0, 0x3060c0);
    for (const std::uint32_t extent : {1U, 2U, 5U}) {
        const Planes planes(extent, extent);
        YUVConverter().convert(pixels.picture(), planes.view);
        expectColour(planes.colourAt(extent - 1, extent - 1), 0x3060c0);
        EXPECT_TRUE(planes.hasPaddingUntouched());
    }
}

} // namespace
} // namespace platform::tests
