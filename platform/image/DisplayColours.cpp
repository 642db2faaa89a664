// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/image/DisplayColours.h"

#include "platform/image/Image.h"
#include "platform/image/LinearColours.h"

#include <Imath/half.h>

#include <algorithm>
#include <array>
#include <cassert>
#include <cmath>
#include <cstring>
#include <memory>

namespace platform {
namespace {

// The transfer curve of sRGB (IEC 61966-2-1), which Display P3 shares, continued below 0 as an odd
// function.
float decode(float encoded) {
    const float size = std::abs(encoded);
    const float light = size <= 0.04045F ? size / 12.92F : std::pow((size + 0.055F) / 1.055F, 2.4F);
    return std::copysign(light, encoded);
}

float encode(float light) {
    return light <= 0.0031308F ? light * 12.92F : 1.055F * std::pow(light, 1.0F / 2.4F) - 0.055F;
}

// Half floats and bytes are few enough to have their curves in tables. The steps of light are fine
// enough for every byte to lie well inside the steps that round to it: where the curve is steepest,
// a step is a fifth of a byte.
class Curves {
public:
    Curves() {
        for (std::size_t bits = 0; bits < m_light.size(); ++bits) {
            const float value = imath_half_to_float(static_cast<std::uint16_t>(bits));
            // The limit keeps the sums below finite.
            m_light[bits] = std::isnan(value) ? 0 : decode(std::clamp(value, -1e3F, 1e3F));
        }
        for (std::size_t step = 0; step < m_bytes.size(); ++step)
            m_bytes[step] = toByte(encode(static_cast<float>(step) / lightSteps));
    }

    float light(std::uint16_t half) const { return m_light[half]; }
    /// For byte().
    static std::int32_t step(float light) {
        const float step = std::clamp(light, 0.0F, 1.0F) * lightSteps + 0.5F;
        return static_cast<std::int32_t>(step);
    }
    std::uint32_t byte(std::int32_t step) const { return m_bytes[static_cast<std::size_t>(step)]; }

private:
    static constexpr float lightSteps = 16384;
    std::array<float, 65536> m_light{};
    std::array<std::uint8_t, 16385> m_bytes{};
};

const Curves& curves() {
    static const auto built = std::make_unique<const Curves>();
    return *built;
}

/// Pixels that are worked on together, in steps without branches. The steps between the tables are
/// arithmetic that the compiler does for several pixels at once.
constexpr std::size_t blockLength = 64;

template <class T>
using Block = std::array<T, blockLength>;

void convertBlock(const Curves& curves, const std::uint16_t* rgba, std::uint32_t* pixels,
                  std::size_t count) {
    Block<float> r{};
    Block<float> g{};
    Block<float> b{};
    for (std::size_t i = 0; i < count; ++i) {
        r[i] = curves.light(rgba[4 * i]);
        g[i] = curves.light(rgba[4 * i + 1]);
        b[i] = curves.light(rgba[4 * i + 2]);
    }
    Block<std::int32_t> red{};
    Block<std::int32_t> green{};
    Block<std::int32_t> blue{};
    for (std::size_t i = 0; i < blockLength; ++i) {
        const LinearColour colour = displayColour({r[i], g[i], b[i]});
        red[i] = Curves::step(colour.red);
        green[i] = Curves::step(colour.green);
        blue[i] = Curves::step(colour.blue);
    }
    for (std::size_t i = 0; i < count; ++i)
        pixels[i] = 0xff000000U | curves.byte(red[i]) << 16 | curves.byte(green[i]) << 8 |
                    curves.byte(blue[i]);
}

/// Whether all pixels have the colour of the first, as in large parts of many pictures.
bool isFlat(const std::uint16_t* rgba, std::size_t count) {
    return std::memcmp(rgba, rgba + Image::channelsPerPixel,
                       (count - 1) * Image::channelsPerPixel * sizeof *rgba) == 0;
}

} // namespace

void convertToDisplay(std::span<const std::uint16_t> halves, std::span<std::uint32_t> pixels) {
    assert(halves.size() == pixels.size() * Image::channelsPerPixel);
    const Curves& tables = curves();
    for (std::size_t at = 0; at < pixels.size(); at += blockLength) {
        const std::size_t count = std::min(blockLength, pixels.size() - at);
        const std::uint16_t* const rgba = &halves[at * Image::channelsPerPixel];
        if (isFlat(rgba, count)) {
            convertBlock(tables, rgba, &pixels[at], 1);
            std::fill_n(&pixels[at] + 1, count - 1, pixels[at]);
        } else {
            convertBlock(tables, rgba, &pixels[at], count);
        }
    }
}

} // namespace platform
