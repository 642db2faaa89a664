// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The four type styles as pictures on the host: what FontDrawing makes, FontCache keeps, and
// FontTextureGenerator merges.
#pragma once

#include "platform/base/SharedMemory.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>

namespace starloom {

/// The order is that of the channels of the font texture and of the prelude's FontStyle.
inline constexpr std::size_t fontStyleCount = 4;

/// One picture per style: 8 bits of coverage a pixel, rows from the top, no mip levels.
struct FontPictures {
    std::array<std::shared_ptr<platform::SharedMemory>, fontStyleCount> styles;
    /// Width and height in pixels, and the length of a row in bytes.
    std::uint32_t size = 0;
};

} // namespace starloom
