// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The formats that a texture's pixels can have, for everyone between a stage and machine code.
#pragma once

#include <cstddef>
#include <cstdint>

namespace compute {

/// The numbers are those that textures' records hold, which kernels read.
enum class PixelFormat : std::uint32_t { R8Unorm, RG8Unorm, RGBA8Unorm, RGBA16Float, RGBA32Float };

/// Of one texture, the full size included.
inline constexpr std::uint32_t maxTextureLevels = 16;

/// Size of one pixel in bytes.
constexpr std::size_t bytesPerPixel(PixelFormat format) {
    switch (format) {
    case PixelFormat::R8Unorm:
        return 1;
    case PixelFormat::RG8Unorm:
        return 2;
    case PixelFormat::RGBA8Unorm:
        return 4;
    case PixelFormat::RGBA16Float:
        return 8;
    case PixelFormat::RGBA32Float:
        return 16;
    }
    return 0;
}

} // namespace compute
