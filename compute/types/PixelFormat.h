// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The formats that a texture's pixels can have, for everyone between a stage and machine code.
#pragma once

#include <cstddef>
#include <cstdint>

namespace compute {

/// The numbers are those that textures' records hold, which kernels read.
enum class PixelFormat : std::uint32_t {
    R8Unorm,
    RG8Unorm,
    RGBA8Unorm,
    RGBA16Float,
    RGBA32Float,
    Depth32Float,
    R8Uint,
    RGBA8Uint,
    R32Uint,
    R32Sint,
    RGBA32Uint,
    RGBA32Sint
};

/// What the texels of a format are to a program; a texture parameter takes formats of one kind.
enum class TexelKind : std::uint8_t { Color, Depth, Unsigned, Signed };

constexpr TexelKind texelKind(PixelFormat format) {
    switch (format) {
    case PixelFormat::R8Unorm:
    case PixelFormat::RG8Unorm:
    case PixelFormat::RGBA8Unorm:
    case PixelFormat::RGBA16Float:
    case PixelFormat::RGBA32Float:
        return TexelKind::Color;
    case PixelFormat::Depth32Float:
        return TexelKind::Depth;
    case PixelFormat::R8Uint:
    case PixelFormat::RGBA8Uint:
    case PixelFormat::R32Uint:
    case PixelFormat::RGBA32Uint:
        return TexelKind::Unsigned;
    case PixelFormat::R32Sint:
    case PixelFormat::RGBA32Sint:
        return TexelKind::Signed;
    }
    return TexelKind::Color;
}

/// Of one texture, the full size included.
inline constexpr std::uint32_t maxTextureLevels = 16;

/// Size of one pixel in bytes.
constexpr std::size_t bytesPerPixel(PixelFormat format) {
    switch (format) {
    case PixelFormat::R8Unorm:
    case PixelFormat::R8Uint:
        return 1;
    case PixelFormat::RG8Unorm:
        return 2;
    case PixelFormat::RGBA8Unorm:
    case PixelFormat::Depth32Float:
    case PixelFormat::RGBA8Uint:
    case PixelFormat::R32Uint:
    case PixelFormat::R32Sint:
        return 4;
    case PixelFormat::RGBA16Float:
        return 8;
    case PixelFormat::RGBA32Float:
    case PixelFormat::RGBA32Uint:
    case PixelFormat::RGBA32Sint:
        return 16;
    }
    return 0;
}

} // namespace compute
