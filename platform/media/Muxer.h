// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The container around encoded tracks.
#pragma once

#include "platform/AsideFile.h"
#include "platform/base/Result.h"
#include "platform/media/PacketSink.h"

#include <string>
#include <vector>

namespace platform {

/// Movable. Order of calls: create(), addTrack() for each, writeHeader(), encode() or write() as
/// often as needed, finish(). Without finish() no file is left.
class Muxer final : public PacketSink {
public:
    /// `container` is FFmpeg's name for it, such as "mp4". The error is one line with the path.
    static Result<Muxer> create(const std::string& path, const char* container);

    Muxer(Muxer&&) = default;
    Muxer& operator=(Muxer&&) = delete;
    /// Closes the file.
    ~Muxer() override;

    bool wantsGlobalHeader() const override {
        return m_context->oformat->flags & AVFMT_GLOBALHEADER;
    }
    using PacketSink::addTrack;
    Result<int> addTrack(const AVCodecParameters& parameters,
                         const TrackDescription& description) override;
    /// With its index in front a file can be played before all of it has arrived, but must be
    /// written twice.
    enum class Index { InFront, AtTheEnd };
    Result<void> writeHeader(Index index = Index::InFront);
    Result<void> write(AVPacket& packet, int track) override;
    /// Completes the file and puts it in its place.
    Result<void> finish();

private:
    Muxer(AsideFile file, std::string path, FFmpegPtr<AVFormatContext> context);
    Error writeFailure(int code) const;

    AsideFile m_file;
    std::string m_path;
    FFmpegPtr<AVFormatContext> m_context; ///< null after a move
    std::vector<AVRational> m_timeBases;  ///< of the tracks, as their packets come
};

} // namespace platform
