// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/image/Image.h"

#include <Imath/half.h>

#include <cassert>

namespace platform {

Image::Image(std::uint32_t width, std::uint32_t height)
    : m_width(width), m_height(height), m_halves(std::size_t{width} * height * channelsPerPixel) {}

std::size_t Image::indexOf(std::uint32_t x, std::uint32_t y) const {
    assert(x < m_width && y < m_height);
    return (std::size_t{y} * m_width + x) * channelsPerPixel;
}

std::array<float, Image::channelsPerPixel> Image::pixel(std::uint32_t x, std::uint32_t y) const {
    std::array<float, channelsPerPixel> rgba{};
    for (std::size_t channel = 0; channel < rgba.size(); ++channel)
        rgba[channel] = imath_half_to_float(m_halves[indexOf(x, y) + channel]);
    return rgba;
}

void Image::setPixel(std::uint32_t x, std::uint32_t y,
                     const std::array<float, channelsPerPixel>& rgba) {
    for (std::size_t channel = 0; channel < rgba.size(); ++channel)
        m_halves[indexOf(x, y) + channel] = imath_float_to_half(rgba[channel]);
}

std::uint8_t toByte(float channel) {
    // Written so that NaN, for which every comparison is false, ends up at 0.
    if (!(channel > 0.0F))
        return 0;
    return channel < 1.0F ? static_cast<std::uint8_t>(channel * 255.0F + 0.5F) : 255;
}

} // namespace platform
