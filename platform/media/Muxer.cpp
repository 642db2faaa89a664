// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/media/Muxer.h"

extern "C" {
#include <libavutil/dict.h>
}

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
    FFmpegPtr<AVPacket> packet(av_packet_alloc());
    if (code >= 0 && !packet)
        code = AVERROR(ENOMEM);
    Muxer muxer(std::move(file), path, std::move(owned), std::move(packet));
    if (code < 0)
        return muxer.writeFailure(code);
    return muxer;
}

Muxer::Muxer(AsideFile file, std::string path, FFmpegPtr<AVFormatContext> context,
             FFmpegPtr<AVPacket> packet)
    : m_file(std::move(file)),
      m_path(std::move(path)),
      m_context(std::move(context)),
      m_packet(std::move(packet)) {}

Muxer::~Muxer() {
    if (m_context)
        avio_closep(&m_context->pb);
}

Error Muxer::writeFailure(int code) const {
    return ffmpegError("cannot write " + m_path, code);
}

Result<int> Muxer::addTrack(const AVCodecContext& encoder) {
    AVStream* stream = avformat_new_stream(m_context.get(), nullptr);
    const int code =
        stream ? avcodec_parameters_from_context(stream->codecpar, &encoder) : AVERROR(ENOMEM);
    if (code < 0)
        return writeFailure(code);
    stream->time_base = encoder.time_base;
    stream->avg_frame_rate = encoder.framerate;
    return stream->index;
}

Result<void> Muxer::writeHeader() {
    AVDictionary* options = nullptr;
    // The index in front, so that a browser can start before it has the whole file; lengths in
    // samples instead of milliseconds; RIFF files beyond 4 GiB as RF64. A container ignores what
    // is not for it.
    av_dict_set(&options, "movflags", "+faststart", 0);
    av_dict_set(&options, "movie_timescale", "48000", 0);
    av_dict_set(&options, "rf64", "auto", 0);
    const int code = avformat_write_header(m_context.get(), &options);
    av_dict_free(&options);
    if (code < 0)
        return writeFailure(code);
    return {};
}

Result<void> Muxer::encode(AVCodecContext& encoder, const AVFrame* frame, int track) {
    int code = avcodec_send_frame(&encoder, frame);
    while (code >= 0) {
        code = avcodec_receive_packet(&encoder, m_packet.get());
        if (code == AVERROR(EAGAIN) || code == AVERROR_EOF)
            return {};
        if (code < 0)
            break;
        if (m_packet->duration == 0)
            m_packet->duration = 1; // video: one frame
        m_packet->stream_index = track;
        av_packet_rescale_ts(m_packet.get(), encoder.time_base,
                             m_context->streams[track]->time_base);
        if (const int written = av_interleaved_write_frame(m_context.get(), m_packet.get());
            written < 0)
            return writeFailure(written);
    }
    return ffmpegError("cannot encode " + m_path, code);
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
