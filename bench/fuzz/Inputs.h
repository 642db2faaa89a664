// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What a program reads: the contents of its input buffers and of its texture.
#pragma once

#include "bench/fuzz/Cells.h"

namespace fuzz {

class Inputs {
public:
    /// The same for the same seed.
    explicit Inputs(const Program& program);

    const std::vector<double>& buffer(unsigned which) const { return m_buffers[which]; }
    /// Of the texture, rows without gaps.
    const std::vector<std::uint8_t>& pixels() const { return m_pixels; }

    /// Any index, which wraps around.
    Cell element(unsigned buffer, std::int64_t index) const;
    /// 0 .. 255; zero outside the texture.
    Value texels(std::int64_t x, std::int64_t y) const;
    /// A channel of the texture filtered at two coordinates, 0 .. 1.
    double filtered(const double* at, unsigned channel) const;

private:
    double texel(std::int64_t x, std::int64_t y, unsigned channel) const;

    Texture m_texture;
    std::array<std::vector<double>, std::size(inputTypes)> m_buffers;
    std::vector<std::uint8_t> m_pixels;
};

} // namespace fuzz
