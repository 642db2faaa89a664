// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Where the packets of encoded tracks go: into a file, or into memory for a file that may be wanted
// later.
#pragma once

#include "platform/base/Result.h"
#include "platform/media/FFmpeg.h"

namespace platform {

/// What is known of a track before its first packet. `timeBase` is the unit of its times.
struct TrackDescription {
    AVRational timeBase{0, 1};
    AVRational frameRate{0, 1}; ///< of video
};

/// Movable. Order of calls: addTrack() for each, then encode() as often as needed.
class PacketSink {
public:
    virtual ~PacketSink() = default;

    /// Whether encoders must put their parameters in front of the track instead of into it.
    virtual bool wantsGlobalHeader() const = 0;
    /// The result numbers the track.
    virtual Result<int> addTrack(const AVCodecParameters& parameters,
                                 const TrackDescription& description) = 0;
    /// Takes over what the packet refers to. Its times are in the track's time base.
    virtual Result<void> write(AVPacket& packet, int track) = 0;

    /// The parameters are those of an open encoder.
    Result<int> addTrack(const AVCodecContext& encoder);
    /// Encodes a frame (null: the end of the track) and writes what the encoder gives back.
    Result<void> encode(AVCodecContext& encoder, const AVFrame* frame, int track);

protected:
    PacketSink() = default;
    PacketSink(PacketSink&&) = default;

private:
    FFmpegPtr<AVPacket> m_packet; ///< made when it is first needed
};

} // namespace platform
