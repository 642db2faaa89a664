// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Images with mip levels: one, or many as the slices of an array, a cube or a volume.
#pragma once

#include "gpu/Types.h"

#include <span>
#include <string>

namespace gpu {

struct TextureDescriptor {
    PixelFormat format = PixelFormat::RGBA8Unorm;
    std::uint32_t width = 1;
    std::uint32_t height = 1;
    /// 1 for a plain image; fullMipCount() for a chain down to one pixel.
    std::uint32_t mipLevels = 1;
    TextureType type = TextureType::D2;
    std::uint32_t depth = 1;       ///< of a 3D texture
    std::uint32_t arrayLength = 1; ///< of an array; a cube counts as one
    std::uint32_t sampleCount = 1; ///< of a multisampled texture
    bool operator==(const TextureDescriptor&) const = default;
};

/// Number of levels from width x height down to 1 x 1, each half of the one before, rounded down.
constexpr std::uint32_t fullMipCount(std::uint32_t width, std::uint32_t height) {
    std::uint32_t levels = 1;
    for (std::uint32_t size = width > height ? width : height; size > 1; size /= 2)
        ++levels;
    return levels;
}

/// Extent of one mip level along one axis.
constexpr std::uint32_t mipExtent(std::uint32_t extent, std::uint32_t level) {
    const std::uint32_t shifted = level < 32 ? extent >> level : 0;
    return shifted > 0 ? shifted : 1;
}

/// A mip level in the memory where it lies: rows that are `bytesPerRow` apart.
struct TextureRows {
    std::span<const std::byte> bytes;
    std::size_t bytesPerRow = 0;
};

/// Made by Device::makeTexture; reads as zeros until something writes it.
class Texture {
public:
    virtual ~Texture() = default;

    virtual const TextureDescriptor& descriptor() const = 0;
    std::uint32_t width() const { return descriptor().width; }
    std::uint32_t height() const { return descriptor().height; }

    // A level consists of slices: the planes of a 3D texture, or for each array element one image,
    // the six faces of a cube (+x, -x, +y, -y, +z, -z), or one image for each sample.

    /// Writes a whole slice from rows that are `bytesPerRow` apart in `pixels`. The caller sees to
    /// it that no command buffer in flight uses the texture. False when the slice does not exist or
    /// `pixels` is too short for it.
    [[nodiscard]] virtual bool replaceSlice(std::uint32_t level, std::uint32_t slice,
                                            std::span<const std::byte> pixels,
                                            std::size_t bytesPerRow) = 0;
    /// Reads a whole slice, likewise.
    [[nodiscard]] virtual bool getSlice(std::uint32_t level, std::uint32_t slice,
                                        std::span<std::byte> pixels,
                                        std::size_t bytesPerRow) const = 0;
    /// The first slice, which is all that a plain image has.
    [[nodiscard]] bool replace(std::uint32_t level, std::span<const std::byte> pixels,
                               std::size_t bytesPerRow) {
        return replaceSlice(level, 0, pixels, bytesPerRow);
    }
    [[nodiscard]] bool getBytes(std::uint32_t level, std::span<std::byte> pixels,
                                std::size_t bytesPerRow) const {
        return getSlice(level, 0, pixels, bytesPerRow);
    }
    /// Shows the first slice of a level without a copy, likewise; empty when it does not exist. For
    /// as long as the texture lives.
    [[nodiscard]] virtual TextureRows rows(std::uint32_t level) const = 0;

    const std::string& label() const { return m_label; }
    void setLabel(std::string label) { m_label = std::move(label); }

private:
    std::string m_label;
};

} // namespace gpu
