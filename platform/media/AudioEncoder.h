// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// One sound track: 48000 Hz, stereo, from blocks of any length.
#pragma once

#include "platform/media/PacketSink.h"

#include <array>
#include <cstdint>
#include <span>
#include <vector>

namespace platform {

/// AAC is the low-complexity profile with 320 kbit/s, Opus has 256. Values that these cannot code
/// are written as silence (not a number) or at a limit (18 dB above full scale). Floats keep every
/// bit.
enum class AudioCodec { AAC, Opus, Float32 };

/// Movable.
class AudioEncoder {
public:
    /// Adds its track to the sink, whose header is not written yet.
    static Result<AudioEncoder> create(PacketSink& sink, AudioCodec codec);

    /// Both channels have the same length.
    Result<void> write(PacketSink& sink, std::span<const float> left, std::span<const float> right);
    /// The end of the track.
    Result<void> finish(PacketSink& sink);

private:
    static constexpr std::size_t channelCount = 2;

    AudioEncoder(FFmpegPtr<AVCodecContext> context, FFmpegPtr<AVFrame> frame, int track);
    std::size_t blockLength() const;
    void fillFrame(std::size_t channel, std::size_t at, std::span<const float> samples);
    Result<void> encodeFrame(PacketSink& sink);

    FFmpegPtr<AVCodecContext> m_context;
    FFmpegPtr<AVFrame> m_frame; ///< holds m_filled samples
    bool m_isExact;             ///< what cannot be coded is coded all the same
    int m_track;
    std::size_t m_filled = 0;
    std::int64_t m_position = 0;
};

} // namespace platform
