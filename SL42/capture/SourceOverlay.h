// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The program's text as an overlay, for when there is no window to capture: drawn here, with line
// numbers, into a surface like those of captured frames.
#pragma once

#include "SL42/capture/CaptureSurface.h"
#include "platform/base/Result.h"
#include "platform/glyphs/FontFace.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace starloom {

/// One thread at a time. Cheap once the characters of a text have been drawn.
class SourceOverlay {
public:
    /// Twice the screen in each direction.
    static constexpr std::uint32_t width = 1920;
    static constexpr std::uint32_t height = 1080;
    static constexpr std::size_t columnCount = 118;
    static constexpr std::size_t rowCount = 35;

    /// Fails when there is no font that can be used.
    static platform::Result<SourceOverlay> create();

    /// Draws the lines of `source` around the line `focus`, as many as fit, and marks `errorLine`,
    /// which then is the focus. Lines count from 1. Null when there is no memory.
    std::shared_ptr<CaptureSurface> draw(std::string_view source, std::size_t focus,
                                         std::optional<std::size_t> errorLine);

    /// The first line that is not in both texts as it is; that before it when the newer one has
    /// lost lines at its end.
    static std::size_t firstChange(std::string_view older, std::string_view newer);

private:
    /// Coverage of a cell: rows without padding.
    using Glyph = std::vector<std::byte>;

    explicit SourceOverlay(platform::FontFace face);
    const Glyph& glyph(char32_t character);
    void drawCharacter(const platform::YUVPlanes& planes, char32_t character, std::size_t row,
                       std::size_t column, unsigned brightness);
    void drawText(const platform::YUVPlanes& planes, std::string_view line, std::size_t row);
    void drawNumber(const platform::YUVPlanes& planes, std::size_t number, std::size_t row);

    platform::FontFace m_face;
    std::unordered_map<char32_t, Glyph> m_glyphs;
    std::unique_ptr<CaptureSurfacePool> m_surfaces = std::make_unique<CaptureSurfacePool>();
};

} // namespace starloom
