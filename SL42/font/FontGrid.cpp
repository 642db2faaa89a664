// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/font/FontGrid.h"

#include <algorithm>
#include <cmath>

namespace starloom {

FontGrid::FontGrid(double textureSize, double backingScale)
    : m_textureSize(textureSize),
      m_scale(backingScale),
      // Wider than a square count, because characters are narrower than they are tall.
      m_columns(static_cast<std::uint32_t>(std::ceil(std::sqrt(characterCount) / 0.85))) {
    const auto count = static_cast<std::uint32_t>(characterCount);
    const double points = textureSize / backingScale;
    const auto wholePoints = static_cast<std::uint32_t>(points);
    const std::uint32_t divisor = std::max(m_columns, count / m_columns);
    m_columnPitch = wholePoints / divisor;
    m_rowPitch = static_cast<std::uint32_t>(points / 0.7) / divisor + 4;
    m_top = points - wholePoints;
}

double FontGrid::fontSize() const {
    return m_rowPitch * 0.83 * m_scale;
}

FontGrid::Position FontGrid::position(std::size_t index) const {
    const auto i = static_cast<std::uint32_t>(index);
    return {.column = i % m_columns, .row = i / m_columns};
}

Cell FontGrid::cell(std::size_t index) const {
    const auto [column, row] = position(index);
    const auto edge = [&](double points) {
        return static_cast<std::uint32_t>(std::min(std::round(points * m_scale), m_textureSize));
    };
    const std::uint32_t left = edge(column * m_columnPitch);
    const std::uint32_t top = edge(m_top + row * m_rowPitch);
    return {.x = left,
            .y = top,
            .width = edge((column + 1) * m_columnPitch) - left,
            .height = edge(m_top + (row + 1) * m_rowPitch) - top};
}

platform::Point FontGrid::baseline(std::size_t index, const LineMetrics& metrics) const {
    const auto [column, row] = position(index);
    const double descent = metrics.descent / m_scale;
    const double lineHeight = metrics.ascent / m_scale + descent;
    const double above = std::trunc(descent + (m_rowPitch - lineHeight) / 2);
    const double inset = std::trunc((m_columnPitch - metrics.widest / m_scale) / 2);
    return {.x = (column * m_columnPitch + inset) * m_scale,
            .y = (m_top + (row + 1) * m_rowPitch - above) * m_scale};
}

} // namespace starloom
