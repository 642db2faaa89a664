// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/protocol/TextureLayout.h"

#include <algorithm>
#include <bit>

namespace compute::protocol {

namespace {
constexpr std::uint64_t maxOffset = std::uint64_t{1} << 40;
constexpr std::uint64_t maxRow = std::uint64_t{1} << 24;

} // namespace

std::optional<TextureLayout> layOut(PixelFormat format, std::uint32_t width, std::uint32_t height,
                                    std::uint32_t levels, std::uint64_t offset,
                                    std::uint64_t bytesPerRow) {
    const std::uint64_t pixel = bytesPerPixel(format);
    if (width == 0 || height == 0 || width > maxTextureExtent || height > maxTextureExtent ||
        levels == 0 || levels > static_cast<std::uint32_t>(std::bit_width(std::max(width, height))))
        return std::nullopt;
    if (offset > maxOffset || bytesPerRow > maxRow || bytesPerRow < width * pixel)
        return std::nullopt;

    TextureLayout layout;
    std::uint64_t position = offset;
    for (std::uint32_t level = 0; level < levels; ++level) {
        LevelLayout& here = layout.levels[level];
        here.width = std::max(width >> level, 1u);
        here.height = std::max(height >> level, 1u);
        here.bytesPerRow = level == 0 ? bytesPerRow : here.width * pixel;
        here.offset = position;
        layout.end = position + here.bytesPerRow * (here.height - 1) + here.width * pixel;
        position = (layout.end + 63) / 64 * 64;
    }
    return layout;
}

} // namespace compute::protocol
