// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// One face of a font file at one size: its metrics, and drawing its glyphs with anti-aliasing into
// 8-bit coverage. Shapes are not hinted: they keep their proportions at every size.
#pragma once

#include "platform/base/Result.h"
#include "platform/glyphs/FontLookup.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>

namespace platform {

/// A rectangle of 8-bit coverage inside a picture: rows from the top, `bytesPerRow` apart.
struct CoverageView {
    /// From the first pixel of the rectangle at least to its last one.
    std::span<std::byte> pixels;
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::size_t bytesPerRow = 0;
};

/// A position in pixels: right and down from the top left corner of the view.
struct Point {
    double x = 0;
    double y = 0;
    bool operator==(const Point&) const = default;
};

/// Independent of every other face, also of one for the same file. One thread at a time.
class FontFace {
public:
    /// `pixelsPerEm` is the type size in pixels, 1 to 4096. The error is one line with the path.
    static Result<FontFace> open(const FaceFile& file, double pixelsPerEm);
    FontFace(FontFace&&) noexcept;
    FontFace& operator=(FontFace&&) noexcept;
    ~FontFace();

    /// Pixels from the baseline up to the top of a line.
    double ascent() const;
    /// Pixels from the baseline down to the bottom of a line; positive.
    double descent() const;
    /// Pixels from the origin of the character to that of the next one.
    Result<double> advance(char32_t character) const;

    /// Draws one character with its origin at `baseline`, in steps of 1/64 pixel, into a view that
    /// is blank there; what lies outside the view is cut off. With a `strokeWidth` in pixels it
    /// draws the outline instead, as a line of that width along the edge, half of it inside. A
    /// character that the face lacks is drawn as the face's sign for it.
    Result<void> draw(char32_t character, const CoverageView& view, Point baseline,
                      std::optional<double> strokeWidth = {});

private:
    struct Handles;
    explicit FontFace(std::unique_ptr<Handles> handles);

    std::unique_ptr<Handles> m_handles;
};

} // namespace platform
