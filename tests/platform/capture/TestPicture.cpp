// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "tests/platform/capture/TestPicture.h"

#include <cstddef>
#include <cstring>

namespace platform::tests {

static constexpr std::uint32_t black = 0x000000;
static constexpr std::uint32_t white = 0xffffff;

std::uint32_t testPixel(std::uint32_t x, std::uint32_t y, std::uint32_t width, std::uint32_t height,
                        std::uint32_t counter) {
    if (y >= height / 2)
        return testColours[x * testColours.size() / width];
    const std::uint32_t bit = counterBits - 1 - x * counterBits / width;
    return (counter >> bit & 1U) != 0 ? white : black;
}

void paintTestPicture(std::span<std::uint32_t> pixels, std::uint32_t width, std::uint32_t counter) {
    const auto height = static_cast<std::uint32_t>(pixels.size() / width);
    for (std::uint32_t y = 0; y < height; ++y)
        for (std::uint32_t x = 0; x < width; ++x)
            pixels[std::size_t{y} * width + x] = testPixel(x, y, width, height, counter);
}

static std::uint32_t pixelAt(const CapturedPicture& picture, std::uint32_t x, std::uint32_t y) {
    std::uint32_t pixel = 0;
    const auto place = y * picture.bytesPerRow + std::size_t{x} * sizeof pixel;
    std::memcpy(&pixel, picture.pixels.subspan(place, sizeof pixel).data(), sizeof pixel);
    return pixel & 0xffffffU;
}

std::optional<std::uint32_t> readTestPicture(const CapturedPicture& picture) {
    const std::uint32_t width = picture.width;
    std::uint32_t counter = 0;
    for (std::uint32_t bit = 0; bit < counterBits; ++bit) {
        const std::uint32_t x = (2 * bit + 1) * width / (2 * counterBits);
        counter = counter << 1U | (pixelAt(picture, x, 0) == white ? 1U : 0U);
    }
    for (std::uint32_t y = 0; y < picture.height; ++y)
        for (std::uint32_t x = 0; x < width; ++x)
            if (pixelAt(picture, x, y) != testPixel(x, y, width, picture.height, counter))
                return std::nullopt;
    return counter;
}

} // namespace platform::tests
