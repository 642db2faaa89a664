// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The kinds of texture that there are, and the one description of a texture's extents that the
// compute interface, the protocol and the service share.
#pragma once

#include "compute/types/PixelFormat.h"

#include <cstdint>
#include <tuple>

namespace compute {

enum class TextureType : std::uint8_t {
    D1,
    D1Array,
    D2,
    D2Array,
    D2Multisample,
    D2MultisampleArray,
    D3,
    Cube,
    CubeArray,
    Buffer, ///< one row of texels, without filter and levels
};

constexpr bool isArray(TextureType type) {
    return type == TextureType::D1Array || type == TextureType::D2Array ||
           type == TextureType::D2MultisampleArray || type == TextureType::CubeArray;
}
constexpr bool isCube(TextureType type) {
    return type == TextureType::Cube || type == TextureType::CubeArray;
}
constexpr bool isMultisample(TextureType type) {
    return type == TextureType::D2Multisample || type == TextureType::D2MultisampleArray;
}
/// Whether it has rows one above the other.
constexpr bool hasHeight(TextureType type) {
    return type != TextureType::D1 && type != TextureType::D1Array && type != TextureType::Buffer;
}

/// As the shading language names the class of a texture of that type, for messages.
constexpr const char* nameOf(TextureType type) {
    switch (type) {
    case TextureType::D1:
        return "1D texture";
    case TextureType::D1Array:
        return "array of 1D textures";
    case TextureType::D2:
        return "2D texture";
    case TextureType::D2Array:
        return "array of 2D textures";
    case TextureType::D2Multisample:
        return "multisampled texture";
    case TextureType::D2MultisampleArray:
        return "array of multisampled textures";
    case TextureType::D3:
        return "3D texture";
    case TextureType::Cube:
        return "cube texture";
    case TextureType::CubeArray:
        return "array of cube textures";
    case TextureType::Buffer:
        return "texture buffer";
    }
    return "texture";
}

/// A texture is levels of slices of rows of texels. What lies in a slice is an image; the slices of
/// a level are the planes of a 3D texture, or all images of all array elements: of element i, face
/// f or sample s, those of the first element first.
struct TextureShape {
    TextureType type = TextureType::D2;
    PixelFormat format = PixelFormat::RGBA8Unorm;
    std::uint32_t width = 1;
    std::uint32_t height = 1;
    std::uint32_t depth = 1;       ///< of a 3D texture
    std::uint32_t arrayLength = 1; ///< of an array; a cube counts as one
    std::uint32_t samples = 1;     ///< of a multisampled texture
    std::uint32_t levels = 1;
    bool operator==(const TextureShape&) const = default;

    template <class Self>
    static auto fields(Self& self) {
        return std::tie(self.type, self.format, self.width, self.height, self.depth,
                        self.arrayLength, self.samples, self.levels);
    }
};

/// Extent of one mip level along one axis.
constexpr std::uint32_t levelExtent(std::uint32_t extent, std::uint32_t level) {
    const std::uint32_t shifted = level < 32 ? extent >> level : 0;
    return shifted > 0 ? shifted : 1;
}

/// How many images a level has.
constexpr std::uint32_t sliceCount(const TextureShape& shape, std::uint32_t level) {
    if (shape.type == TextureType::D3)
        return levelExtent(shape.depth, level);
    return shape.arrayLength * (isCube(shape.type) ? 6 : shape.samples);
}

} // namespace compute
