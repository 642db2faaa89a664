// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// One video track of constant frame rate. Frames are coded with colour at half the resolution, by
// the matrix of BT.709 in the limited range, and tagged so; those of a GIF with a palette for each.
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

    /// The next frame, as in MovieWriter::writeFrame().
    Result<void> write(PacketSink& sink, std::span<const std::uint32_t> pixels);
    /// The next frame, as in MovieWriter::writePicture().
    Result<void> writePicture(PacketSink& sink, std::span<const std::uint16_t> halves);
    /// Frames that nobody has: the one before is seen longer.
    void skip(std::int64_t count) { m_next += count; }
    /// A player can start with the next frame.
    void beginAnew() { m_beginsAnew = true; }
    /// The end of the track.
    Result<void> finish(PacketSink& sink);

private:
    VideoEncoder(FFmpegPtr<AVCodecContext> context, int track, std::uint32_t repeat);
    Result<void> makeFrameWritable();
    Result<void> encodeFrame(PacketSink& sink);
    Result<void> encodePaletted(PaletteFilter& palettes, PacketSink& sink);

    FFmpegPtr<AVCodecContext> m_context;
    std::optional<FrameConverter> m_converter; ///< for frames that are written by pixels
    FFmpegPtr<AVFrame> m_frame;                ///< but for a GIF
    std::optional<PaletteFilter> m_palettes;   ///< of a GIF
    int m_track;
    std::uint32_t m_repeat;
    std::int64_t m_next = 0;
    bool m_beginsAnew = false;
};

} // namespace platform
