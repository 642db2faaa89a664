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

namespace platform {

/// Movable.
class FrameConverter {
public:
    static Result<FrameConverter> create(const MovieFormat& format);

    /// Rows from the top, each pixel 0xffRRGGBB, into a frame of the format's size in YUV420P.
    void convert(std::span<const std::uint32_t> pixels, AVFrame& frame);

private:
    FrameConverter(FFmpegPtr<SwsContext> context, const MovieFormat& format);

    FFmpegPtr<SwsContext> m_context;
    int m_width;
    int m_height;
};

} // namespace platform
