// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// From a captured picture to the two planes that the console lays over its own: luma, and chroma at
// half the width and height. They hold what the console's display turns back into the captured
// colours:
//
//     R = Y + 1.371 V    G = Y - 0.336 U - 0.698 V    B = Y + 1.732 U
//
// with Y from 0 to 1 in the byte 0 to 255, and U and V from -1 to 1 likewise. Luma has the weights
// of ITU-R BT.601. U and V of real colours stay within +-0.52.
#pragma once

#include "platform/capture/WindowCapture.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace platform {

/// Memory to write to. Rows are as far apart as is said, and end with the last one.
struct YUVPlanes {
    std::span<std::byte> luma; ///< width x height bytes
    std::size_t lumaBytesPerRow = 0;
    std::span<std::byte> chroma; ///< chromaExtent(width) x chromaExtent(height) pairs U, V
    std::size_t chromaBytesPerRow = 0;
    std::uint32_t width = 0; ///< 1 to 16384, as is height
    std::uint32_t height = 0;
};

constexpr std::uint32_t chromaExtent(std::uint32_t extent) {
    return (extent + 1) / 2;
}

/// Keeps the memory that it needs in between. One thread at a time.
class YUVConverter {
public:
    /// The picture must not be larger than 32768 in width or height.
    void convert(const CapturedPicture& picture, const YUVPlanes& planes);

private:
    std::vector<std::byte> m_luma;
    std::vector<std::byte> m_chroma;
    std::vector<std::byte> m_scaledChroma;
};

} // namespace platform
