// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/media/Muxer.h"

extern "C" {
#include <libavutil/dict.h>
}

#include <cstddef>
#include <utility>

namespace platform {

Result<Muxer> Muxer::create(const std::string& path, const char* container) {
    av_log_set_level(AV_LOG_QUIET); // what it would print comes back as our errors
    AsideFile file = SL42_TRY(AsideFile::create(path));
    // With "file:" in front a colon in the path does not read as a protocol.
    const std::string url = "file:" + file.path();
    AVFormatContext* context = nullptr;
    int code = avformat_alloc_output_context2(&context, nullptr, container, url.c_str());
    FFmpegPtr<AVFormatContext> owned(context);
    if (owned)
        code = avio_open(&context->pb, url.c_str(), AVIO_FLAG_WRITE);
    Muxer muxer(std::move(file), path, std::move(owned));
    if (code < 0)
        return muxer.writeFailure(code);
    return muxer;
}

Muxer::Muxer(AsideFile file, std::string path, FFmpegPtr<AVFormatContext> context)
    : m_file(std::move(file)), m_path(std::move(path)), m_context(std::move(context)) {}

Muxer::~Muxer() {
    if (m_context)
        avio_closep(&m_context->pb);
}

Error Muxer::writeFailure(int code) const {
    return ffmpegError("cannot write " + m_path, code);
}

Result<int> Muxer::addTrack(const AVCodecParameters& parameters,
                            const TrackDescription& description) {
    AVStream* stream = avformat_new_stream(m_context.get(), nullptr);
    const int code =
        stream ? avcodec_parameters_copy(stream->codecpar, &parameters) : AVERROR(ENOMEM);
    if (code < 0)
        return writeFailure(code);
    stream->time_base = description.timeBase;
    stream->avg_frame_rate = description.frameRate;
    m_timeBases.push_back(description.timeBase);
    return stream->index;
}

Result<void> Muxer::writeHeader(Index index) {
    AVDictionary* options = nullptr;
    // Lengths in samples instead of milliseconds; RIFF files beyond 4 GiB as RF64. A container
    // ignores what is not for it.
    if (index == Index::InFront)
        av_dict_set(&options, "movflags", "+faststart", 0);
    av_dict_set(&options, "movie_timescale", "48000", 0);
    av_dict_set(&options, "rf64", "auto", 0);
    const int code = avformat_write_header(m_context.get(), &options);
    av_dict_free(&options);
    if (code < 0)
        return writeFailure(code);
    return {};
}

Result<void> Muxer::write(AVPacket& packet, int track) {
    packet.stream_index = track;
    av_packet_rescale_ts(&packet, m_timeBases[static_cast<std::size_t>(track)],
                         m_context->streams[track]->time_base);
    if (const int code = av_interleaved_write_frame(m_context.get(), &packet); code < 0)
        return writeFailure(code);
    return {};
}

Result<void> Muxer::finish() {
    int code = av_write_trailer(m_context.get());
    if (const int closed = avio_closep(&m_context->pb); code >= 0)
        code = closed;
    if (code < 0)
        return writeFailure(code);
    return m_file.commit();
}

} // namespace platform
