// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Memory layout of a texture argument. A texture object of the shading language is one pointer to
// such a record, which the functions of the standard library read (stdlib/sl42_texel.h).
#pragma once

#include "compute/types/PixelFormat.h"

#include <cstddef>
#include <cstdint>

namespace compute {

struct TextureLevel {
    std::byte* pixels = nullptr;
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::uint64_t bytesPerRow = 0;
};

/// The images of a level, the first of which the level itself describes.
struct TextureSlices {
    std::uint32_t count = 1;
    std::uint64_t bytesPerSlice = 0;
};

/// What a 2D texture needs comes first.
struct TextureView {
    PixelFormat format = PixelFormat::RGBA8Unorm;
    /// Zero where no texture is bound; all levels are then one texel.
    std::uint32_t levelCount = 0;
    TextureLevel levels[maxTextureLevels];
    std::uint32_t arrayLength = 1; ///< a cube counts as one
    std::uint32_t samples = 1;
    TextureSlices slices[maxTextureLevels];
};

static_assert(sizeof(TextureLevel) == 24 && sizeof(TextureSlices) == 16 &&
              sizeof(TextureView) == 16 + (24 + 16) * maxTextureLevels);

} // namespace compute
