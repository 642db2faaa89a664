// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Pictures in 8-bit sRGB as encoders for film want them: luma and two colour differences, these at
// half the resolution, by the matrix of BT.709 in the limited range.
#pragma once

#include "platform/media/FFmpeg.h"
#include "platform/media/MovieFormat.h"

#include <cstdint>
#include <span>
#include <vector>

namespace platform {

/// Movable.
class FrameConverter {
public:
    /// Takes pictures of the format's width and height divided by its repeat.
    static Result<FrameConverter> create(const MovieFormat& format);

    /// Rows from the top, each pixel 0xffRRGGBB, into a frame of the format's size in YUV420P.
    void convert(std::span<const std::uint32_t> pixels, AVFrame& frame);

private:
    FrameConverter(FFmpegPtr<SwsContext> context, int width, int height, bool doublesLuma);
    void doubleLuma(AVFrame& frame) const;

    FFmpegPtr<SwsContext> m_context;
    int m_width; ///< of the pictures
    int m_height;
    /// Pixels are repeated twice. The squares of four that share their colour differences are all
    /// one then: what is computed once a pixel of the small picture are the planes of the large
    /// one, but for the luma, which is written four times.
    bool m_doublesLuma;
    std::vector<std::uint8_t> m_luma; ///< of the small picture
};

} // namespace platform
