// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/font/FontDrawing.h"

#include <algorithm>
#include <optional>
#include <utility>

namespace starloom {
namespace {

using platform::FontFace;
using platform::Result;
using platform::SharedMemory;

/// Of the type size. At the usual 30 pixels a character the line is then about one pixel wide.
constexpr double outlineWidth = 0.036;

char32_t characterAt(std::size_t index) {
    return static_cast<char32_t>(firstCharacter) + static_cast<char32_t>(index);
}

Result<FontFace> openFace(const std::string& name, double fontSize,
                          const platform::FontLookup& fonts, platform::Log& log) {
    platform::Error error{"no font is installed that could stand for " + name};
    for (const platform::FaceFile& file : fonts.candidates(name)) {
        auto face = FontFace::open(file, fontSize);
        if (face && file.match == platform::FaceMatch::Substitute)
            log.line("Font " + name + " is missing, using " + file.path);
        if (face)
            return face;
        error = std::move(face).error();
    }
    return error;
}

Result<LineMetrics> measure(const FontFace& face) {
    LineMetrics metrics{.ascent = face.ascent(), .descent = face.descent(), .widest = 0};
    for (std::size_t i = 0; i < characterCount; ++i)
        metrics.widest = std::max(metrics.widest, SL42_TRY(face.advance(characterAt(i))));
    return metrics;
}

Result<std::shared_ptr<SharedMemory>> drawStyle(FontFace& face, const FontGrid& grid,
                                                const LineMetrics& metrics,
                                                const std::stop_token& stop,
                                                std::optional<double> strokeWidth = {}) {
    const std::size_t size = grid.size();
    auto memory = SL42_TRY(SharedMemory::create(size * size, "Font style"));
    const std::span<std::byte> pixels = memory->bytes();
    if (pixels.empty())
        return platform::Error{"no memory to draw the font in"};
    for (std::size_t i = 0; i < characterCount; ++i) {
        if (stop.stop_requested())
            return platform::Error{"drawing the font was stopped"};
        const Cell cell = grid.cell(i);
        if (cell.width == 0 || cell.height == 0)
            continue;
        const platform::CoverageView view{.pixels = pixels.subspan(cell.y * size + cell.x),
                                          .width = cell.width,
                                          .height = cell.height,
                                          .bytesPerRow = size};
        const platform::Point baseline = grid.baseline(i, metrics);
        SL42_TRY_VOID(face.draw(characterAt(i), view, {baseline.x - cell.x, baseline.y - cell.y},
                                strokeWidth));
    }
    return memory;
}

} // namespace

Result<FontPictures> drawFontPictures(const FontNames& names, const FontGrid& grid,
                                      const platform::FontLookup& fonts, platform::Log& log,
                                      const std::stop_token& stop) {
    const double fontSize = grid.fontSize();
    auto regular = SL42_TRY(openFace(names.regular, fontSize, fonts, log));
    auto bold = SL42_TRY(openFace(names.bold, fontSize, fonts, log));
    auto italic = SL42_TRY(openFace(names.italic, fontSize, fonts, log));
    auto outline = SL42_TRY(openFace(names.outline, fontSize, fonts, log));
    // All styles share the regular face's lines, so that they can be mixed within one.
    const LineMetrics metrics = SL42_TRY(measure(regular));

    FontPictures pictures{.styles = {}, .size = grid.size(), .bytesPerRow = grid.size()};
    pictures.styles[0] = SL42_TRY(drawStyle(regular, grid, metrics, stop));
    pictures.styles[1] = SL42_TRY(drawStyle(bold, grid, metrics, stop));
    pictures.styles[2] = SL42_TRY(drawStyle(italic, grid, metrics, stop));
    pictures.styles[3] = SL42_TRY(drawStyle(outline, grid, metrics, stop, outlineWidth * fontSize));
    return pictures;
}

} // namespace starloom
