// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Where each character stands in the font texture. The text functions of the prelude read the
// texture by the same grid, so its numbers are part of what programs see.
#pragma once

#include "platform/glyphs/FontFace.h"

#include <cstddef>
#include <cstdint>

namespace starloom {

/// The characters of the texture: printable ASCII in ascending order.
inline constexpr char firstCharacter = ' ';
inline constexpr std::size_t characterCount = 95;

/// Measures of the regular face at the grid's type size, in pixels.
struct LineMetrics {
    double ascent = 0;
    double descent = 0;
    /// Of all characters' advances.
    double widest = 0;
};

/// A rectangle of whole pixels, from the top left corner of the texture.
struct Cell {
    std::uint32_t x = 0;
    std::uint32_t y = 0;
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    bool operator==(const Cell&) const = default;
};

/// A square texture cut into cells, row by row from the top. The grid is laid out in points of
/// `backingScale` pixels each and rounded to whole points, which is why the scale shows in the
/// pixels: at 4096 pixels and scale 2, for which the prelude is written, a cell has 340 x 494
/// pixels, and at scale 1 it would have 341 x 491. A plain value.
class FontGrid {
public:
    explicit FontGrid(double textureSize = 4096, double backingScale = 2);

    /// Width and height of the texture in pixels.
    std::uint32_t size() const { return static_cast<std::uint32_t>(m_textureSize); }
    std::uint32_t columns() const { return m_columns; }
    /// Type size in pixels.
    double fontSize() const;
    /// The cell of the character at `index` (0 to 94), cut off at the edge of the texture.
    Cell cell(std::size_t index) const;
    /// Origin of that character, in pixels from the top left corner of the texture: line boxes are
    /// centred in their rows, and every character starts at the same inset.
    platform::Point baseline(std::size_t index, const LineMetrics& metrics) const;

private:
    struct Position {
        std::uint32_t column;
        std::uint32_t row;
    };
    Position position(std::size_t index) const;

    double m_textureSize;
    double m_scale;
    std::uint32_t m_columns;
    /// Pitches in points.
    std::uint32_t m_columnPitch;
    std::uint32_t m_rowPitch;
    /// What is left of the texture's height beyond whole points, above the first row.
    double m_top;
};

} // namespace starloom
