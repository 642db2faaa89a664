// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "bench/fuzz/Inputs.h"

#include "bench/fuzz/Library.h"
#include "bench/fuzz/Random.h"

#include <algorithm>
#include <cmath>

namespace fuzz {

Inputs::Inputs(const Program& program) : m_texture(program.texture) {
    Random random(program.seed ^ 0x5eed);
    for (unsigned i = 0; i < std::size(inputTypes); ++i)
        for (unsigned k = 0; k < inputCount; ++k) {
            const Scalar type = inputTypes[i].scalar;
            const double bound = standardRange(type).bound;
            m_buffers[i].push_back(
                isFloating(type)
                    ? static_cast<double>(random.below(static_cast<unsigned>(2 * bound))) - bound
                    : static_cast<double>(wrapped(type, Wide(random.next() >> random.below(64)))));
        }
    m_pixels.resize(std::size_t{m_texture.width} * m_texture.height * m_texture.channels);
    for (std::uint8_t& pixel : m_pixels)
        pixel = static_cast<std::uint8_t>(random.next());
}

Cell Inputs::element(unsigned buffer, std::int64_t index) const {
    const double number = m_buffers[buffer][static_cast<std::size_t>(index) % inputCount];
    if (isFloating(inputTypes[buffer].scalar))
        return {.number = number};
    return {.integer = static_cast<std::int64_t>(number)};
}

/// Channels that the texture lacks are 0, the fourth is 1.
double Inputs::texel(std::int64_t x, std::int64_t y, unsigned channel) const {
    const Texture& t = m_texture;
    if (channel >= t.channels)
        return channel == 3 ? 255 : 0;
    return m_pixels[(static_cast<std::size_t>(y) * t.width + static_cast<std::size_t>(x)) *
                        t.channels +
                    channel];
}

Value Inputs::texels(std::int64_t x, std::int64_t y) const {
    Value result(4);
    const bool isInside = x < m_texture.width && y < m_texture.height;
    for (unsigned i = 0; i < 4; ++i)
        result[i].integer = isInside ? static_cast<std::int64_t>(texel(x, y, i)) : 0;
    return result;
}

double Inputs::filtered(const double* at, unsigned channel) const {
    const Texture& t = m_texture;
    std::int64_t texels[2][2];
    double fractions[2];
    const std::uint32_t sizes[] = {t.width, t.height};
    for (int axis = 0; axis < 2; ++axis) {
        const double coordinate = t.repeats ? at[axis] - std::floor(at[axis]) : at[axis];
        const double p = std::clamp(coordinate * sizes[axis], -2.0, sizes[axis] + 2.0) - 0.5;
        fractions[axis] = p - std::floor(p);
        const auto size = static_cast<std::int64_t>(sizes[axis]);
        for (int k = 0; k < 2; ++k) {
            const auto i = static_cast<std::int64_t>(std::floor(p)) + k;
            texels[axis][k] =
                t.repeats ? (i + size) % size : std::clamp<std::int64_t>(i, 0, size - 1);
        }
    }
    const auto row = [&](int k) {
        return std::lerp(texel(texels[0][0], texels[1][k], channel),
                         texel(texels[0][1], texels[1][k], channel), fractions[0]);
    };
    return std::lerp(row(0), row(1), fractions[1]) / 255;
}

} // namespace fuzz
