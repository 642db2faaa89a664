// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/font/FontDrawing.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <optional>
#include <span>
#include <sstream>
#include <utility>

namespace starloom {
namespace {

using platform::FaceFile;
using platform::FontFace;
using platform::Result;
using platform::SharedMemory;

/// Of the type size. At the usual 30 pixels a character the line is then about one pixel wide.
constexpr double outlineWidth = 0.036;

char32_t characterAt(std::size_t index) {
    return static_cast<char32_t>(firstCharacter) + static_cast<char32_t>(index);
}

/// Counts up when the same faces are drawn differently or kept differently.
constexpr int drawingVersion = 1;

struct OpenFace {
    FontFace face;
    FaceFile file;
};

Result<OpenFace> openFace(const std::string& name, double fontSize,
                          const platform::FontLookup& fonts, platform::Log& log) {
    platform::Error error{"no font is installed that could stand for " + name};
    for (const FaceFile& file : fonts.candidates(name)) {
        auto face = FontFace::open(file, fontSize);
        if (face && file.match == platform::FaceMatch::Substitute)
            log.line("Font " + name + " is missing, using " + file.path);
        if (face)
            return OpenFace{*std::move(face), file};
        error = std::move(face).error();
    }
    return error;
}

/// All that the pictures depend on: the grid, and the very files.
std::string cacheKey(const FontGrid& grid, std::span<const OpenFace> faces) {
    const Cell cell = grid.cell(0);
    std::ostringstream key;
    key << drawingVersion << ' ' << grid.size() << ' ' << grid.fontSize() << ' ' << cell.width
        << ' ' << cell.height;
    for (const auto& [face, file] : faces) {
        std::error_code unknown;
        key << '\n'
            << file.path << '\n'
            << file.index << ' ' << std::filesystem::file_size(file.path, unknown) << ' '
            << std::filesystem::last_write_time(file.path, unknown).time_since_epoch().count();
    }
    return key.str();
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

/// The faces in the order of the styles.
Result<FontPictures> drawStyles(std::span<OpenFace, fontStyleCount> faces, const FontGrid& grid,
                                const std::stop_token& stop) {
    // All styles share the regular face's lines, so that they can be mixed within one.
    const LineMetrics metrics = SL42_TRY(measure(faces[0].face));
    FontPictures pictures{.styles = {}, .size = grid.size()};
    for (std::size_t style = 0; style < fontStyleCount; ++style) {
        const bool isOutline = style == fontStyleCount - 1;
        const auto stroke =
            isOutline ? std::optional(outlineWidth * grid.fontSize()) : std::nullopt;
        pictures.styles[style] =
            SL42_TRY(drawStyle(faces[style].face, grid, metrics, stop, stroke));
    }
    return pictures;
}

} // namespace

Result<FontPictures> drawFontPictures(const FontNames& names, const FontGrid& grid,
                                      const platform::FontLookup& fonts, platform::Log& log,
                                      const FontCache& cache, const std::stop_token& stop) {
    const double fontSize = grid.fontSize();
    std::array<OpenFace, fontStyleCount> faces{
        SL42_TRY(openFace(names.regular, fontSize, fonts, log)),
        SL42_TRY(openFace(names.bold, fontSize, fonts, log)),
        SL42_TRY(openFace(names.italic, fontSize, fonts, log)),
        SL42_TRY(openFace(names.outline, fontSize, fonts, log))};
    const std::string key = cacheKey(grid, faces);
    if (auto kept = cache.load(key, grid.size()))
        return *std::move(kept);
    auto pictures = SL42_TRY(drawStyles(faces, grid, stop));
    cache.store(key, pictures);
    return pictures;
}

} // namespace starloom
