// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/media/SoundFile.h"

#include "platform/media/FFmpeg.h"

extern "C" {
#include <libavutil/channel_layout.h>
#include <libavutil/opt.h>
#include <libswresample/swresample.h>
}

#include <algorithm>
#include <memory>

namespace platform {
namespace {

constexpr int sampleRate = 48000;

struct CloseInput {
    void operator()(AVFormatContext* context) const { avformat_close_input(&context); }
};
struct FreeResampler {
    void operator()(SwrContext* context) const { swr_free(&context); }
};

/// One sound track on its way from packets to mono samples.
class SoundReader {
public:
    explicit SoundReader(std::string path) : m_path(std::move(path)) {}

    Result<void> open();
    Result<std::vector<float>> read(std::size_t mostSamples);

private:
    Error failure(int code) const { return ffmpegError("cannot read " + m_path, code); }
    void decode(const AVPacket* packet);
    int prepare(const AVFrame& frame);
    void append(const AVFrame* frame);

    std::string m_path;
    std::unique_ptr<AVFormatContext, CloseInput> m_input;
    FFmpegPtr<AVCodecContext> m_decoder;
    std::unique_ptr<SwrContext, FreeResampler> m_resampler;
    FFmpegPtr<AVFrame> m_frame{av_frame_alloc()};
    FFmpegPtr<AVFrame> m_last{av_frame_alloc()}; ///< its format, of which the resampler is made
    int m_track = 0;
    std::vector<float> m_samples;
};

Result<void> SoundReader::open() {
    av_log_set_level(AV_LOG_QUIET); // what it would print comes back as our errors
    AVFormatContext* input = nullptr;
    if (const int code = avformat_open_input(&input, ("file:" + m_path).c_str(), nullptr, nullptr);
        code < 0)
        return failure(code);
    m_input.reset(input);
    avformat_find_stream_info(input, nullptr);
    const AVCodec* codec = nullptr;
    m_track = av_find_best_stream(input, AVMEDIA_TYPE_AUDIO, -1, -1, &codec, 0);
    if (m_track == AVERROR_STREAM_NOT_FOUND)
        return Error{m_path + ": there is no sound in it"};
    if (m_track < 0)
        return failure(m_track);
    m_decoder.reset(avcodec_alloc_context3(codec));
    if (!m_decoder || !m_frame || !m_last)
        return failure(AVERROR(ENOMEM));
    const AVStream& stream = *input->streams[m_track];
    avcodec_parameters_to_context(m_decoder.get(), stream.codecpar);
    m_decoder->pkt_timebase = stream.time_base; // or what the encoder put in front is not skipped
    if (const int code = avcodec_open2(m_decoder.get(), codec, nullptr); code < 0)
        return failure(code);
    return {};
}

Result<std::vector<float>> SoundReader::read(std::size_t mostSamples) {
    const FFmpegPtr<AVPacket> packet(av_packet_alloc());
    if (!packet)
        return failure(AVERROR(ENOMEM));
    while (m_samples.size() < mostSamples && av_read_frame(m_input.get(), packet.get()) >= 0) {
        if (packet->stream_index == m_track)
            decode(packet.get());
        av_packet_unref(packet.get());
    }
    if (m_samples.size() < mostSamples) {
        decode(nullptr);
        append(nullptr);
    }
    if (m_samples.empty())
        return Error{m_path + ": its sound cannot be decoded"};
    m_samples.resize(std::min(m_samples.size(), mostSamples));
    return std::move(m_samples);
}

void SoundReader::decode(const AVPacket* packet) {
    avcodec_send_packet(m_decoder.get(), packet);
    while (avcodec_receive_frame(m_decoder.get(), m_frame.get()) >= 0)
        if (prepare(*m_frame) >= 0)
            append(m_frame.get());
}

/// A file may change its format on the way.
int SoundReader::prepare(const AVFrame& frame) {
    if (m_resampler && frame.format == m_last->format && frame.sample_rate == m_last->sample_rate &&
        av_channel_layout_compare(&frame.ch_layout, &m_last->ch_layout) == 0)
        return 0;
    append(nullptr);
    AVChannelLayout mono{};
    av_channel_layout_default(&mono, 1);
    AVChannelLayout from{};
    if (frame.ch_layout.order == AV_CHANNEL_ORDER_UNSPEC)
        av_channel_layout_default(&from, frame.ch_layout.nb_channels);
    else
        av_channel_layout_copy(&from, &frame.ch_layout);
    SwrContext* resampler = nullptr;
    int code = swr_alloc_set_opts2(&resampler, &mono, AV_SAMPLE_FMT_FLT, sampleRate, &from,
                                   static_cast<AVSampleFormat>(frame.format), frame.sample_rate, 0,
                                   nullptr);
    av_channel_layout_uninit(&from);
    m_resampler.reset(resampler);
    if (code >= 0) // channels are mixed so that nothing clips, as sound servers do
        code = av_opt_set_double(resampler, "rematrix_maxval", 1, 0);
    if (code >= 0)
        code = swr_init(resampler);
    m_last->format = frame.format;
    m_last->sample_rate = frame.sample_rate;
    av_channel_layout_copy(&m_last->ch_layout, &frame.ch_layout);
    return code;
}

/// Null for what the resampler still holds.
void SoundReader::append(const AVFrame* frame) {
    if (!m_resampler)
        return;
    const int room = swr_get_out_samples(m_resampler.get(), frame ? frame->nb_samples : 0);
    if (room <= 0)
        return;
    const std::size_t before = m_samples.size();
    m_samples.resize(before + static_cast<std::size_t>(room));
    auto* target = reinterpret_cast<std::uint8_t*>(&m_samples[before]);
    const int count =
        swr_convert(m_resampler.get(), &target, room,
                    frame ? const_cast<const std::uint8_t**>(frame->extended_data) : nullptr,
                    frame ? frame->nb_samples : 0);
    m_samples.resize(before + static_cast<std::size_t>(std::max(count, 0)));
}

} // namespace

Result<std::vector<float>> readMonoSound(const std::string& path, std::size_t mostSamples) {
    SoundReader reader(path);
    SL42_TRY_VOID(reader.open());
    return reader.read(mostSamples);
}

} // namespace platform
