// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/capture/PictureOverlay.h"

#include "SL42/capture/CaptureSurface.h"

#include <vector>

namespace starloom {

/// 0xffRRGGBB.
static std::uint32_t opaque(const std::array<float, 4>& rgba) {
    const auto byte = [&](std::size_t channel) {
        return std::uint32_t{platform::toByte(rgba[channel] * rgba[3])};
    };
    return 0xff000000U | byte(0) << 16U | byte(1) << 8U | byte(2);
}

platform::Result<YUVTexture> overlayOf(const platform::Image& picture, gpu::Device& device) {
    const auto surface = CaptureSurface::create(picture.width(), picture.height());
    if (!surface)
        return platform::Error{"The overlay is empty or too large"};
    std::vector<std::uint32_t> pixels;
    pixels.reserve(std::size_t{picture.width()} * picture.height());
    for (std::uint32_t y = 0; y < picture.height(); ++y)
        for (std::uint32_t x = 0; x < picture.width(); ++x)
            pixels.push_back(opaque(picture.pixel(x, y)));
    platform::YUVConverter().convert({.pixels = std::as_bytes(std::span(pixels)),
                                      .bytesPerRow = std::size_t{picture.width()} * 4,
                                      .width = picture.width(),
                                      .height = picture.height()},
                                     surface->planes());
    return surface->texture(device);
}

} // namespace starloom
