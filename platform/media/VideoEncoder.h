// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// One video track of constant frame rate, from pictures in 8-bit sRGB. Frames are coded with colour
// at half the resolution, by the matrix of BT.709 in the limited range, and tagged so; those of a
// GIF with a palette for each.
#pragma once

#include "platform/media/FrameConverter.h"
#include "platform/media/MovieFormat.h"
#include "platform/media/PacketSink.h"
#include "platform/media/PaletteFilter.h"

#include <cstdint>
#include <optional>
#include <span>

namespace platform {

/// Movable.
class VideoEncoder {
public:
    /// Adds its track to the sink, whose header is not written yet.
    static Result<VideoEncoder> create(PacketSink& sink, const MovieFormat& format);

    /// The next frame; rows from the top, each pixel 0xffRRGGBB, as in MovieWriter.
    Result<void> write(PacketSink& sink, std::span<const std::uint32_t> pixels);
    /// Frames that nobody has: the one before is seen longer.
    void skip(std::int64_t count) { m_next += count; }
    /// A player can start with the next frame.
    void beginAnew() { m_beginsAnew = true; }
    /// The end of the track.
    Result<void> finish(PacketSink& sink);

private:
    VideoEncoder(FFmpegPtr<AVCodecContext> context, int track);
    Result<void> encodePaletted(PacketSink& sink);

    FFmpegPtr<AVCodecContext> m_context;
    std::optional<FrameConverter> m_converter; ///< but for a GIF, like the next
    FFmpegPtr<AVFrame> m_frame;
    std::optional<PaletteFilter> m_palettes; ///< of a GIF
    int m_track;
    std::int64_t m_next = 0;
    bool m_beginsAnew = false;
};

} // namespace platform
