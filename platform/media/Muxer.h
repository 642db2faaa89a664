// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The container around encoded tracks.
#pragma once

#include "platform/AsideFile.h"
#include "platform/base/Result.h"
#include "platform/media/FFmpeg.h"

#include <string>

namespace platform {

/// Movable. Order of calls: create(), addTrack() for each, writeHeader(), encode() as often as
/// needed, finish(). Without finish() no file is left.
class Muxer {
public:
    /// `container` is FFmpeg's name for it, such as "mp4". The error is one line with the path.
    static Result<Muxer> create(const std::string& path, const char* container);

    Muxer(Muxer&&) = default;
    Muxer& operator=(Muxer&&) = delete;
    /// Closes the file.
    ~Muxer();

    /// Whether encoders must put their parameters in front of the track instead of into it.
    bool wantsGlobalHeader() const { return m_context->oformat->flags & AVFMT_GLOBALHEADER; }
    /// Takes the parameters of an open encoder. The result numbers the track.
    Result<int> addTrack(const AVCodecContext& encoder);
    Result<void> writeHeader();

    /// Encodes a frame (null: the end of the track) and writes what the encoder gives back.
    Result<void> encode(AVCodecContext& encoder, const AVFrame* frame, int track);
    /// Completes the file and puts it in its place.
    Result<void> finish();

private:
    Muxer(AsideFile file, std::string path, FFmpegPtr<AVFormatContext> context,
          FFmpegPtr<AVPacket> packet);
    Error writeFailure(int code) const;

    AsideFile m_file;
    std::string m_path;
    FFmpegPtr<AVFormatContext> m_context; ///< null after a move
    FFmpegPtr<AVPacket> m_packet;
};

} // namespace platform
