// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A picture in memory, in the format that the console draws in. Files are in Png.h and Exr.h.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace platform {

/// Rows of RGBA pixels from the top, without padding; each channel is the bit pattern of an IEEE
/// 754 half float. Colours are Display P3 with its usual transfer curve (that of sRGB), 0 to 1 for
/// the standard range and above or below it for the extended one. Alpha is not premultiplied.
/// A plain value.
class Image {
public:
    static constexpr std::size_t channelsPerPixel = 4;

    Image() = default;
    /// All zeros.
    Image(std::uint32_t width, std::uint32_t height);

    std::uint32_t width() const { return m_width; }
    std::uint32_t height() const { return m_height; }

    /// width x height x 4 half floats.
    std::span<std::uint16_t> halves() { return m_halves; }
    std::span<const std::uint16_t> halves() const { return m_halves; }

    /// Red, green, blue and alpha; `x` and `y` lie inside the picture.
    std::array<float, channelsPerPixel> pixel(std::uint32_t x, std::uint32_t y) const;
    void setPixel(std::uint32_t x, std::uint32_t y,
                  const std::array<float, channelsPerPixel>& rgba);

    bool operator==(const Image&) const = default;

private:
    std::size_t indexOf(std::uint32_t x, std::uint32_t y) const;

    std::uint32_t m_width = 0;
    std::uint32_t m_height = 0;
    std::vector<std::uint16_t> m_halves;
};

/// The channel as 8 bits: clamped to the standard range (NaN becomes 0) and rounded to the nearest.
std::uint8_t toByte(float channel);

/// CIE 1931 xy coordinates of Display P3, from SMPTE EG 432-1 with the white point D65.
struct DisplayP3 {
    static constexpr std::array<float, 2> white{0.3127F, 0.3290F};
    static constexpr std::array<float, 2> red{0.680F, 0.320F};
    static constexpr std::array<float, 2> green{0.265F, 0.690F};
    static constexpr std::array<float, 2> blue{0.150F, 0.060F};
};

} // namespace platform
