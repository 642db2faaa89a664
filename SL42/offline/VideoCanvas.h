// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The console's picture as a frame of a video: 8 bits, sRGB, at any size.
#pragma once

#include "platform/image/Image.h"
#include "preview/PicturePlacement.h"
#include "preview/PictureScaler.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace starloom {

/// The picture lies in the frame as in a window of that size, on black instead of red.
class VideoCanvas {
public:
    VideoCanvas(std::uint32_t width, std::uint32_t height);

    /// A frame of that size is the same as a canvas of its size divided by this with each pixel
    /// repeated so often across and down: an even number, or 1 where there is no such.
    static std::uint32_t repeatFor(std::uint32_t width, std::uint32_t height);

    /// Rows of 0xffRRGGBB from the top, valid until the next call. The image has the size of the
    /// console's screen.
    std::span<const std::uint32_t> show(const platform::Image& image);

private:
    std::size_t m_width;
    PicturePlacement m_placement;
    PictureScaler m_scaler;
    std::vector<std::uint32_t> m_picture;
    std::vector<std::uint32_t> m_scaled;
    std::vector<std::uint32_t> m_frame;
};

} // namespace starloom
