// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The console's picture as a frame of a video, at any size.
#pragma once

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
    /// repeated so often across and down, and the smaller one shows the picture as it is: an even
    /// number, or 1 where there is no such.
    static std::uint32_t repeatFor(std::uint32_t width, std::uint32_t height);

    // Pictures are half floats as in platform::Image, of the size of the console's screen.

    /// Rows of 0xffRRGGBB from the top, in sRGB, valid until the next call.
    std::span<const std::uint32_t> show(std::span<const std::uint16_t> picture);
    /// The picture as it is, with what lies around it; valid as long as the picture and until the
    /// next call. The picture is not scaled.
    std::span<const std::uint16_t> place(std::span<const std::uint16_t> picture);

private:
    template <class T>
    void copyRows(std::span<const T> picture, std::vector<T>& frame, std::size_t values) const;

    std::size_t m_width;
    PicturePlacement m_placement;
    PictureScaler m_scaler;
    std::vector<std::uint32_t> m_picture;
    std::vector<std::uint32_t> m_scaled;
    std::vector<std::uint32_t> m_frame;
    std::vector<std::uint16_t> m_halves; ///< of the frame; empty until they are needed
};

} // namespace starloom
