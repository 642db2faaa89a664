// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The finished texture on this machine's device: channels against the pictures drawn on the host,
// mip levels against a filter of the test's own.
#include "SL42/font/FontTextureGenerator.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <iostream>
#include <vector>

namespace starloom {
namespace {

using Pixels = std::vector<std::byte>;
using Milliseconds = std::chrono::duration<double, std::milli>;

Pixels levelOf(const gpu::Texture& texture, std::uint32_t level) {
    const std::size_t width = gpu::mipExtent(texture.width(), level);
    const std::size_t height = gpu::mipExtent(texture.height(), level);
    Pixels pixels(width * height * 4);
    EXPECT_TRUE(texture.getBytes(level, pixels, width * 4)) << "level " << level;
    return pixels;
}

/// The four pictures as one, a byte per channel.
Pixels interleaved(const FontPictures& pictures) {
    Pixels pixels(std::size_t{pictures.size} * pictures.size * 4);
    for (std::size_t channel = 0; channel < fontStyleCount; ++channel) {
        const std::byte* style = pictures.styles[channel]->bytes().data();
        for (std::size_t y = 0; y < pictures.size; ++y)
            for (std::size_t x = 0; x < pictures.size; ++x)
                pixels[(y * pictures.size + x) * 4 + channel] = style[y * pictures.size + x];
    }
    return pixels;
}

/// Largest difference, in 255ths, between `half` and the averages of 2 x 2 pixels of `full`.
double boxFilterError(const Pixels& full, const Pixels& half, std::size_t halfWidth) {
    const std::size_t row = halfWidth * 2 * 4;
    double worst = 0;
    for (std::size_t i = 0; i < half.size(); ++i) {
        const std::size_t pixel = i / 4;
        const std::size_t first = pixel / halfWidth * 2 * row + pixel % halfWidth * 8 + i % 4;
        int sum = 0;
        for (const std::size_t at : {first, first + 4, first + row, first + row + 4})
            sum += std::to_integer<int>(full[at]);
        worst = std::max(worst, std::abs(sum / 4.0 - std::to_integer<int>(half[i])));
    }
    return worst;
}

TEST(FontTexture, HoldsThePicturesAndTheirMipLevels) {
    const auto device = gpu::Device::systemDefault();
    ASSERT_TRUE(device);
    platform::Log log;
    const auto start = std::chrono::steady_clock::now();
    FontTextureGenerator generator(device, device->makeCommandQueue(), log);
    const auto made = std::chrono::steady_clock::now();
    const auto texture = generator.texture();
    const auto complete = std::chrono::steady_clock::now();
    std::cout << device->name() << ": " << Milliseconds(made - start).count()
              << " ms for the constructor, " << Milliseconds(complete - made).count()
              << " ms more until the texture is complete\n";
    ASSERT_EQ(texture->descriptor().mipLevels, 13U);

    const auto fonts = platform::FontLookup::open();
    ASSERT_TRUE(fonts);
    const auto pictures = drawFontPictures({}, FontGrid(), *fonts, log);
    ASSERT_TRUE(pictures);
    Pixels level = levelOf(*texture, 0);
    EXPECT_TRUE(level == interleaved(*pictures)) << "every texel, every channel";
    for (std::uint32_t n = 1; n < 13; ++n) {
        const Pixels next = levelOf(*texture, n);
        // Half a step of rounding, and another half for hardware that filters coarsely.
        EXPECT_LE(boxFilterError(level, next, gpu::mipExtent(4096, n)), 1.0) << "level " << n;
        level = next;
    }
    EXPECT_GT(std::to_integer<int>(level[0]), 0) << "the one pixel left is the mean of all";
}

} // namespace
} // namespace starloom
