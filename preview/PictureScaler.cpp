// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "preview/PictureScaler.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <cstring>

namespace starloom {

// Two channels at a time, each with room for the product above it.
static std::uint32_t mix(std::uint32_t a, std::uint32_t b, std::uint32_t weight) {
    constexpr std::uint32_t even = 0x00ff00ffU;
    const std::uint32_t evens = (a & even) * (256 - weight) + (b & even) * weight;
    const std::uint32_t odds = (a >> 8 & even) * (256 - weight) + (b >> 8 & even) * weight;
    return (evens >> 8 & even) | (odds & ~even);
}

PictureScaler::PictureScaler(Size source, Size target)
    : m_source(source),
      m_target(target),
      m_columns(mixes(source.width, target.width)),
      m_rows(mixes(source.height, target.height)),
      m_upper(target.width),
      m_lower(target.width) {}

std::vector<PictureScaler::Mix> PictureScaler::mixes(std::size_t source, std::size_t target) {
    const double ratio = static_cast<double>(target) / static_cast<double>(source);
    const double sharpness = std::max(ratio, 1.0);
    std::vector<Mix> result(target);
    for (std::size_t at = 0; at < target; ++at) {
        // Between the centres of two source pixels, 0 at the one and 1 at the other.
        const double centre = (static_cast<double>(at) + 0.5) / ratio - 0.5;
        const double first = std::floor(centre);
        const double weight = std::clamp((centre - first - 0.5) * sharpness + 0.5, 0.0, 1.0);
        if (first < 0)
            continue;
        result[at].first = static_cast<std::size_t>(first);
        if (result[at].first + 1 < source)
            result[at].weight = static_cast<std::uint32_t>(std::lround(weight * 256));
    }
    return result;
}

void PictureScaler::scale(std::span<const std::uint32_t> source, std::span<std::uint32_t> target) {
    assert(source.size() == m_source.area() && target.size() == m_target.area());
    if (m_target.width % m_source.width == 0 && m_target.height % m_source.height == 0) {
        scaleWhole(source, target);
        return;
    }
    constexpr std::size_t none = ~std::size_t{0};
    std::size_t upper = none; // which source rows the two buffers hold
    std::size_t lower = none;
    for (std::size_t y = 0; y < m_target.height; ++y) {
        const Mix& row = m_rows[y];
        const std::size_t next = std::min(row.first + 1, m_source.height - 1);
        if (row.first == lower) {
            std::swap(m_upper, m_lower);
            std::swap(upper, lower);
        }
        if (row.first != upper)
            scaleRow(&source[row.first * m_source.width], m_upper.data());
        if (next != lower)
            scaleRow(&source[next * m_source.width], m_lower.data());
        upper = row.first;
        lower = next;
        std::uint32_t* out = &target[y * m_target.width];
        for (std::size_t x = 0; x < m_target.width; ++x)
            out[x] = mix(m_upper[x], m_lower[x], row.weight);
    }
}

void PictureScaler::scaleRow(const std::uint32_t* source, std::uint32_t* target) const {
    for (std::size_t x = 0; x < m_target.width; ++x) {
        const Mix& column = m_columns[x];
        const std::uint32_t first = source[column.first];
        target[x] =
            column.weight == 0 ? first : mix(first, source[column.first + 1], column.weight);
    }
}

void PictureScaler::scaleWhole(std::span<const std::uint32_t> source,
                               std::span<std::uint32_t> target) const {
    const std::size_t across = m_target.width / m_source.width;
    const std::size_t down = m_target.height / m_source.height;
    std::uint32_t* row = target.data();
    for (std::size_t y = 0; y < m_source.height; ++y) {
        const auto pixels = source.subspan(y * m_source.width, m_source.width);
        std::uint32_t* out = row;
        if (across == 1)
            out = std::ranges::copy(pixels, row).out;
        else
            for (const std::uint32_t pixel : pixels)
                out = std::fill_n(out, across, pixel);
        for (std::size_t copy = 1; copy < down; ++copy, out += m_target.width)
            std::memcpy(out, row, m_target.width * sizeof(std::uint32_t));
        row = out;
    }
}

} // namespace starloom
