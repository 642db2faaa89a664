// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Memory layout of a texture argument. A texture object of the shading language is one pointer to
// such a record, which the sampling functions of the standard library read (stdlib/sl42_texture.h).
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

struct TextureView {
    PixelFormat format = PixelFormat::RGBA8Unorm;
    std::uint32_t levelCount = 0;
    TextureLevel levels[maxTextureLevels];
};

static_assert(sizeof(TextureLevel) == 24 && sizeof(TextureView) == 8 + 24 * maxTextureLevels);

} // namespace compute
