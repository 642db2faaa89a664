// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/capture/SourceOverlay.h"

#include "platform/glyphs/FontLookup.h"

#include <algorithm>
#include <string>
#include <utility>

namespace starloom {
namespace {

constexpr std::size_t cellWidth = SourceOverlay::width / SourceOverlay::columnCount;
constexpr std::size_t cellHeight = SourceOverlay::height / SourceOverlay::rowCount;
/// Fixed-width faces advance by 0.6 of the type size.
constexpr double pixelsPerEm = cellWidth / 0.6;
constexpr std::size_t numberColumns = 4;
constexpr std::size_t firstTextColumn = numberColumns + 1;
constexpr std::size_t tabWidth = 4;

constexpr unsigned textBrightness = 240;
constexpr unsigned numberBrightness = 110;
constexpr std::byte neutral{0x80};
/// What an error's line lies on: a dark red.
constexpr std::byte errorLuma{26};
constexpr std::byte errorU{115};
constexpr std::byte errorV{160};

std::vector<std::string_view> linesOf(std::string_view text) {
    std::vector<std::string_view> lines;
    while (true) {
        const std::size_t end = text.find('\n');
        std::string_view line = text.substr(0, end);
        if (line.ends_with('\r'))
            line.remove_suffix(1);
        lines.push_back(line);
        if (end == text.npos)
            return lines;
        text.remove_prefix(end + 1);
    }
}

/// Takes the first character off; what is not UTF-8 comes as U+FFFD.
char32_t takeCharacter(std::string_view& text) {
    constexpr char32_t replacement = 0xfffd;
    const auto first = static_cast<unsigned char>(text.front());
    text.remove_prefix(1);
    if (first < 0x80)
        return first;
    const std::size_t more = first >= 0xf0 ? 3 : first >= 0xe0 ? 2 : first >= 0xc0 ? 1 : 0;
    char32_t character = first & (0x3fU >> more);
    for (std::size_t i = 0; i < more; ++i) {
        if (text.empty() || (static_cast<unsigned char>(text.front()) & 0xc0U) != 0x80)
            return replacement;
        character = character << 6U | (static_cast<unsigned char>(text.front()) & 0x3fU);
        text.remove_prefix(1);
    }
    return more > 0 ? character : replacement;
}

/// The rectangle of a plane that begins in the row and column of pixels.
std::span<std::byte> rowOf(std::span<std::byte> plane, std::size_t bytesPerRow, std::size_t y,
                           std::size_t length) {
    return plane.subspan(y * bytesPerRow, length);
}

void clear(const platform::YUVPlanes& planes) {
    std::ranges::fill(planes.luma, std::byte{});
    std::ranges::fill(planes.chroma, neutral);
}

void markRow(const platform::YUVPlanes& planes, std::size_t row) {
    for (std::size_t y = row * cellHeight; y < (row + 1) * cellHeight; ++y)
        std::ranges::fill(rowOf(planes.luma, planes.lumaBytesPerRow, y, planes.width), errorLuma);
    for (std::size_t y = row * cellHeight / 2; y < (row + 1) * cellHeight / 2; ++y) {
        const auto chroma = rowOf(planes.chroma, planes.chromaBytesPerRow, y, planes.width);
        for (std::size_t x = 0; x < chroma.size(); x += 2) {
            chroma[x] = errorU;
            chroma[x + 1] = errorV;
        }
    }
}

} // namespace

platform::Result<SourceOverlay> SourceOverlay::create() {
    const auto fonts = SL42_TRY(platform::FontLookup::open());
    platform::Error error{"No font is installed that could show the source"};
    for (const platform::FaceFile& file : fonts.candidates("CourierNewPS-BoldMT")) {
        auto face = platform::FontFace::open(file, pixelsPerEm);
        if (face)
            return SourceOverlay(*std::move(face));
        error = std::move(face).error();
    }
    return error;
}

SourceOverlay::SourceOverlay(platform::FontFace face) : m_face(std::move(face)) {}

std::shared_ptr<CaptureSurface> SourceOverlay::draw(std::string_view source, std::size_t focus,
                                                    std::optional<std::size_t> errorLine) {
    auto surface = m_surfaces->take(width, height);
    if (!surface)
        return nullptr;
    const auto planes = surface->planes();
    const auto lines = linesOf(source);
    const std::size_t middle =
        std::clamp<std::size_t>(errorLine.value_or(focus), 1, lines.size()) - 1;
    // As much as fits before it and after it, and no empty rows while there are lines.
    const std::size_t last = lines.size() > rowCount ? lines.size() - rowCount : 0;
    const std::size_t first = std::min(middle > rowCount / 2 ? middle - rowCount / 2 : 0, last);
    clear(planes);
    for (std::size_t row = 0; row < rowCount && first + row < lines.size(); ++row) {
        const std::size_t number = first + row + 1;
        if (number == errorLine)
            markRow(planes, row);
        drawNumber(planes, number, row);
        drawText(planes, lines[first + row], row);
    }
    return surface;
}

std::size_t SourceOverlay::firstChange(std::string_view older, std::string_view newer) {
    const auto before = linesOf(older);
    const auto after = linesOf(newer);
    const auto [unused, found] = std::ranges::mismatch(before, after);
    const auto line = static_cast<std::size_t>(found - after.begin());
    return std::min(line + 1, after.size());
}

void SourceOverlay::drawNumber(const platform::YUVPlanes& planes, std::size_t number,
                               std::size_t row) {
    const std::string digits = std::to_string(number);
    const std::size_t length = std::min(digits.size(), numberColumns);
    for (std::size_t i = 0; i < length; ++i)
        drawCharacter(planes, static_cast<char32_t>(digits[digits.size() - length + i]), row,
                      numberColumns - length + i, numberBrightness);
}

void SourceOverlay::drawText(const platform::YUVPlanes& planes, std::string_view line,
                             std::size_t row) {
    for (std::size_t column = firstTextColumn; !line.empty() && column < columnCount;) {
        const char32_t character = takeCharacter(line);
        if (character == '\t') {
            column += tabWidth - (column - firstTextColumn) % tabWidth;
            continue;
        }
        if (character > ' ')
            drawCharacter(planes, character, row, column, textBrightness);
        ++column;
    }
}

void SourceOverlay::drawCharacter(const platform::YUVPlanes& planes, char32_t character,
                                  std::size_t row, std::size_t column, unsigned brightness) {
    const Glyph& coverage = glyph(character);
    for (std::size_t y = 0; y < cellHeight; ++y) {
        const auto to = planes.luma.subspan(
            (row * cellHeight + y) * planes.lumaBytesPerRow + column * cellWidth, cellWidth);
        for (std::size_t x = 0; x < cellWidth; ++x) {
            const unsigned covered = std::to_integer<unsigned>(coverage[y * cellWidth + x]);
            const unsigned under = std::to_integer<unsigned>(to[x]);
            to[x] = static_cast<std::byte>((under * (255 - covered) + brightness * covered) / 255);
        }
    }
}

// A character that cannot be drawn leaves its cell empty.
const SourceOverlay::Glyph& SourceOverlay::glyph(char32_t character) {
    const auto [found, isNew] = m_glyphs.try_emplace(character);
    if (isNew) {
        Glyph& coverage = found->second;
        coverage.resize(cellWidth * cellHeight);
        const double leading = (cellHeight - m_face.ascent() - m_face.descent()) / 2;
        (void)m_face.draw(character,
                          {.pixels = coverage,
                           .width = cellWidth,
                           .height = cellHeight,
                           .bytesPerRow = cellWidth},
                          {.x = 0, .y = leading + m_face.ascent()});
    }
    return found->second;
}

} // namespace starloom
