// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Memory layout of a texture argument. A texture object of the shading language is one pointer to
// such a record, which the sampling functions of the standard library read (stdlib/sl42_texture.h).
#pragma once

#include <cstddef>
#include <cstdint>

namespace compute::kernel {

/// Numbers of gpu::PixelFormat.
enum class TextureFormat : std::uint32_t {
    R8Unorm,
    RG8Unorm,
    RGBA8Unorm,
    RGBA16Float,
    RGBA32Float
};

inline constexpr std::uint32_t maxTextureLevels = 16;

struct TextureLevel {
    std::byte* pixels = nullptr;
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::uint64_t bytesPerRow = 0;
};

struct TextureView {
    TextureFormat format = TextureFormat::RGBA8Unorm;
    std::uint32_t levelCount = 0;
    TextureLevel levels[maxTextureLevels];
};

static_assert(sizeof(TextureLevel) == 24 && sizeof(TextureView) == 8 + 24 * maxTextureLevels);

} // namespace compute::kernel
