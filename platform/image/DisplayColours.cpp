// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/image/DisplayColours.h"

#include "platform/image/Image.h"

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
    std::uint32_t byte(float light) const {
        const float step = std::clamp(light, 0.0F, 1.0F) * lightSteps + 0.5F;
        return m_bytes[static_cast<std::size_t>(step)];
    }

private:
    static constexpr float lightSteps = 16384;
    std::array<float, 65536> m_light{};
    std::array<std::uint8_t, 16385> m_bytes{};
};

const Curves& curves() {
    static const auto built = std::make_unique<const Curves>();
    return *built;
}

// Linear Display P3 to linear sRGB: the product of the two matrices that follow from the primaries
// of SMPTE EG 432-1 and ITU-R BT.709 with the white point D65.
std::uint32_t convert(const Curves& curves, const std::uint16_t* rgba) {
    const float r = curves.light(rgba[0]);
    const float g = curves.light(rgba[1]);
    const float b = curves.light(rgba[2]);
    const std::uint32_t red = curves.byte(1.2249402F * r - 0.2249402F * g);
    const std::uint32_t green = curves.byte(-0.0420570F * r + 1.0420570F * g);
    const std::uint32_t blue = curves.byte(-0.0196376F * r - 0.0786361F * g + 1.0982737F * b);
    return 0xff000000U | red << 16 | green << 8 | blue;
}

} // namespace

void convertToDisplay(std::span<const std::uint16_t> halves, std::span<std::uint32_t> pixels) {
    assert(halves.size() == pixels.size() * Image::channelsPerPixel);
    const Curves& tables = curves();
    // Neighbours often have the same colour.
    std::uint64_t lastBits = 0;
    std::uint32_t lastPixel = 0xff000000U;
    const std::uint16_t* rgba = halves.data();
    for (std::uint32_t& pixel : pixels) {
        std::uint64_t bits = 0;
        std::memcpy(&bits, rgba, sizeof bits);
        if (bits != lastBits) {
            lastBits = bits;
            lastPixel = convert(tables, rgba);
        }
        pixel = lastPixel;
        rgba += Image::channelsPerPixel;
    }
}

} // namespace platform
