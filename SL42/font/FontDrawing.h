// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Draws the four type styles on the host, each into a picture of coverage the size of the font
// texture. Merging them is FontTextureGenerator's.
#pragma once

#include "SL42/font/FontCache.h"
#include "SL42/font/FontGrid.h"
#include "SL42/font/FontPictures.h"
#include "platform/Log.h"
#include "platform/base/Result.h"
#include "platform/glyphs/FontLookup.h"

#include <stop_token>
#include <string>

namespace starloom {

/// PostScript names of the faces of the four styles. `outline` names the face whose edges are
/// drawn.
struct FontNames {
    std::string regular = "CourierNewPSMT";
    std::string bold = "CourierNewPS-BoldMT";
    std::string italic = "CourierNewPS-ItalicMT";
    std::string outline = "CourierNewPS-BoldMT";
};

/// Draws all styles with the best faces that `fonts` has for the names, and says so on `log` where
/// a style has to do with a face of other measures. Characters keep to their cells. Takes about
/// 90 ms for 4096 x 4096, and about 20 ms when `cache` has what these faces give. Fails when there
/// is no usable font at all, or no memory, and soon after `stop` asks it to.
platform::Result<FontPictures> drawFontPictures(const FontNames& names, const FontGrid& grid,
                                                const platform::FontLookup& fonts,
                                                platform::Log& log, const FontCache& cache = {},
                                                const std::stop_token& stop = {});

} // namespace starloom
