// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/media/AudioEncoder.h"

extern "C" {
#include <libavutil/channel_layout.h>
#include <libavutil/opt.h>
}

#include <algorithm>
#include <cassert>
#include <cmath>
#include <utility>

namespace platform {
namespace {

constexpr int sampleRate = 48000;
constexpr int stereo = 2;
constexpr std::int64_t opusBitRate = 256'000;
// With its quick search, which needs a quarter of the time, FFmpeg's encoder comes nearer to the
// sound than with its thorough one at 256 kbit/s, in the treble only from here on.
constexpr std::int64_t aacBitRate = 320'000;
constexpr float codableLimit = 8; // 18 dB above full scale
/// Of formats that do not ask for a length of their own.
constexpr int anyBlockLength = 4096;

// The encoder for Opus that FFmpeg brings itself is unfinished.
const AVCodec* findEncoder(AudioCodec codec) {
    switch (codec) {
    case AudioCodec::AAC:
        return avcodec_find_encoder(AV_CODEC_ID_AAC);
    case AudioCodec::Opus:
        return avcodec_find_encoder_by_name("libopus");
    case AudioCodec::Float32:
        return avcodec_find_encoder(AV_CODEC_ID_PCM_F32LE);
    }
    return nullptr;
}

Result<FFmpegPtr<AVCodecContext>> openEncoder(const PacketSink& sink, AudioCodec codec) {
    const AVCodec* encoder = findEncoder(codec);
    if (!encoder)
        return Error{"there is no encoder for sound"};
    FFmpegPtr<AVCodecContext> context(avcodec_alloc_context3(encoder));
    if (!context)
        return ffmpegError("cannot encode sound", AVERROR(ENOMEM));
    context->sample_rate = sampleRate;
    context->time_base = {1, sampleRate};
    av_channel_layout_default(&context->ch_layout, stereo);
    context->sample_fmt = codec == AudioCodec::AAC ? AV_SAMPLE_FMT_FLTP : AV_SAMPLE_FMT_FLT;
    if (codec == AudioCodec::AAC) {
        context->bit_rate = aacBitRate;
        av_opt_set(context->priv_data, "aac_coder", "fast", 0);
    } else if (codec == AudioCodec::Opus) {
        context->bit_rate = opusBitRate;
    }
    if (sink.wantsGlobalHeader())
        context->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    if (const int code = avcodec_open2(context.get(), encoder, nullptr); code < 0)
        return ffmpegError("cannot encode sound", code);
    return context;
}

Result<FFmpegPtr<AVFrame>> makeFrame(const AVCodecContext& context) {
    FFmpegPtr<AVFrame> frame(av_frame_alloc());
    int code = AVERROR(ENOMEM);
    if (frame) {
        frame->format = context.sample_fmt;
        frame->sample_rate = context.sample_rate;
        frame->nb_samples = context.frame_size > 0 ? context.frame_size : anyBlockLength;
        av_channel_layout_default(&frame->ch_layout, stereo);
        code = av_frame_get_buffer(frame.get(), 0);
    }
    if (code < 0)
        return ffmpegError("cannot encode sound", code);
    return frame;
}

float codable(float sample) {
    return std::isnan(sample) ? 0.0F : std::clamp(sample, -codableLimit, codableLimit);
}

} // namespace

Result<AudioEncoder> AudioEncoder::create(PacketSink& sink, AudioCodec codec) {
    auto context = SL42_TRY(openEncoder(sink, codec));
    auto frame = SL42_TRY(makeFrame(*context));
    const int track = SL42_TRY(sink.addTrack(*context));
    return AudioEncoder(std::move(context), std::move(frame), track);
}

AudioEncoder::AudioEncoder(FFmpegPtr<AVCodecContext> context, FFmpegPtr<AVFrame> frame, int track)
    : m_context(std::move(context)),
      m_frame(std::move(frame)),
      m_isExact(m_context->codec_id == AV_CODEC_ID_PCM_F32LE),
      m_track(track) {}

std::size_t AudioEncoder::blockLength() const {
    return static_cast<std::size_t>(m_context->frame_size > 0 ? m_context->frame_size
                                                              : anyBlockLength);
}

void AudioEncoder::fillFrame(std::size_t channel, std::size_t at, std::span<const float> samples) {
    if (m_context->sample_fmt == AV_SAMPLE_FMT_FLTP) {
        auto* plane = reinterpret_cast<float*>(m_frame->extended_data[channel]);
        std::transform(samples.begin(), samples.end(), plane + at, codable);
    } else {
        auto* interleaved = reinterpret_cast<float*>(m_frame->extended_data[0]);
        for (std::size_t i = 0; i < samples.size(); ++i)
            interleaved[(at + i) * channelCount + channel] =
                m_isExact ? samples[i] : codable(samples[i]);
    }
}

Result<void> AudioEncoder::write(PacketSink& sink, std::span<const float> left,
                                 std::span<const float> right) {
    assert(left.size() == right.size());
    while (!left.empty()) {
        if (m_filled == 0) { // the encoder may still hold on to what it was given
            m_frame->nb_samples = static_cast<int>(blockLength());
            if (const int code = av_frame_make_writable(m_frame.get()); code < 0)
                return ffmpegError("cannot encode sound", code);
        }
        const std::size_t count = std::min(blockLength() - m_filled, left.size());
        fillFrame(0, m_filled, left.first(count));
        fillFrame(1, m_filled, right.first(count));
        left = left.subspan(count);
        right = right.subspan(count);
        m_filled += count;
        if (m_filled == blockLength())
            SL42_TRY_VOID(encodeFrame(sink));
    }
    return {};
}

Result<void> AudioEncoder::encodeFrame(PacketSink& sink) {
    m_frame->nb_samples = static_cast<int>(m_filled);
    m_frame->pts = m_position;
    m_position += m_frame->nb_samples;
    m_filled = 0;
    return sink.encode(*m_context, m_frame.get(), m_track);
}

Result<void> AudioEncoder::finish(PacketSink& sink) {
    if (m_filled > 0)
        SL42_TRY_VOID(encodeFrame(sink));
    return sink.encode(*m_context, nullptr, m_track);
}

} // namespace platform
