// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// One video track of constant frame rate, from pictures in 8-bit sRGB. Frames are coded with colour
// at half the resolution, by the matrix of BT.709 in the limited range, and tagged so.
#pragma once

#include "platform/media/MovieFormat.h"
#include "platform/media/Muxer.h"

#include <cstdint>
#include <span>

namespace platform {

/// Movable.
class VideoEncoder {
public:
    /// Adds its track to the muxer, whose header is not written yet.
    static Result<VideoEncoder> create(Muxer& muxer, const MovieFormat& format);

    /// The next frame; rows from the top, each pixel 0xffRRGGBB.
    Result<void> write(Muxer& muxer, std::span<const std::uint32_t> pixels);
    /// The end of the track.
    Result<void> finish(Muxer& muxer);

private:
    VideoEncoder(FFmpegPtr<AVCodecContext> context, FFmpegPtr<SwsContext> converter,
                 FFmpegPtr<AVFrame> frame, int track);

    FFmpegPtr<AVCodecContext> m_context;
    FFmpegPtr<SwsContext> m_converter; ///< from RGB to YUV
    FFmpegPtr<AVFrame> m_frame;
    int m_track;
    std::int64_t m_next = 0;
};

} // namespace platform
