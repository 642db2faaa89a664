// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/protocol/TextureLayout.h"

#include <algorithm>
#include <bit>

namespace compute::protocol {

namespace {

constexpr std::uint64_t maxOffset = std::uint64_t{1} << 40;
constexpr std::uint64_t maxRow = std::uint64_t{1} << 24;
constexpr std::uint64_t maxBufferRow = std::uint64_t{1} << 30;

bool isWithin(std::uint32_t value, std::uint32_t most) {
    return value >= 1 && value <= most;
}

/// Whether each extent is one that the type has, and not too large.
bool hasSense(const TextureShape& shape) {
    const TextureType type = shape.type;
    if (!isWithin(shape.width, type == TextureType::Buffer ? maxBufferTexels : maxTextureExtent) ||
        !isWithin(shape.height, hasHeight(type) ? maxTextureExtent : 1) ||
        !isWithin(shape.depth, type == TextureType::D3 ? maxTextureSlices : 1) ||
        !isWithin(shape.arrayLength, isArray(type) ? maxTextureSlices : 1) ||
        !isWithin(shape.samples, isMultisample(type) ? maxTextureSamples : 1))
        return false;
    if (isCube(type) && shape.width != shape.height)
        return false;
    const bool hasLevels = type != TextureType::Buffer && !isMultisample(type);
    const std::uint32_t longest = std::max({shape.width, shape.height, shape.depth});
    return isWithin(shape.levels,
                    hasLevels ? static_cast<std::uint32_t>(std::bit_width(longest)) : 1);
}

} // namespace

std::optional<TextureLayout> layOut(const TextureShape& shape, std::uint64_t offset,
                                    std::uint64_t bytesPerRow) {
    const std::uint64_t pixel = bytesPerPixel(shape.format);
    if (!hasSense(shape) || offset > maxOffset ||
        bytesPerRow > (shape.type == TextureType::Buffer ? maxBufferRow : maxRow) ||
        bytesPerRow < shape.width * pixel)
        return std::nullopt;

    TextureLayout layout;
    std::uint64_t position = offset;
    for (std::uint32_t level = 0; level < shape.levels; ++level) {
        LevelLayout& here = layout.levels[level];
        here.width = levelExtent(shape.width, level);
        here.height = levelExtent(shape.height, level);
        here.slices = sliceCount(shape, level);
        here.bytesPerRow = level == 0 ? bytesPerRow : here.width * pixel;
        here.bytesPerSlice = here.bytesPerRow * here.height;
        here.offset = position;
        layout.end = position + here.bytesPerSlice * (here.slices - 1) +
                     here.bytesPerRow * (here.height - 1) + here.width * pixel;
        position = (layout.end + 63) / 64 * 64;
    }
    return layout;
}

} // namespace compute::protocol
