// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "tests/platform/media/MediaReader.h"

#include "platform/media/FFmpeg.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

#include <algorithm>
#include <complex>
#include <functional>
#include <numbers>

namespace platform::tests {
namespace {

struct CloseInput {
    void operator()(AVFormatContext* context) const { avformat_close_input(&context); }
};

/// Decodes the first track of a kind, frame by frame.
class Track {
public:
    using Receive = std::function<void(const AVFrame&)>;

    static Result<Track> open(const std::string& path, AVMediaType kind) {
        Track track;
        AVFormatContext* input = nullptr;
        if (const int code =
                avformat_open_input(&input, ("file:" + path).c_str(), nullptr, nullptr);
            code < 0)
            return ffmpegError("cannot read " + path, code);
        track.m_input.reset(input);
        avformat_find_stream_info(input, nullptr);
        const AVCodec* decoder = nullptr;
        const int index = av_find_best_stream(input, kind, -1, -1, &decoder, 0);
        if (index < 0)
            return ffmpegError("no such track in " + path, index);
        track.m_stream = input->streams[index];
        track.m_decoder.reset(avcodec_alloc_context3(decoder));
        avcodec_parameters_to_context(track.m_decoder.get(), track.m_stream->codecpar);
        track.m_decoder->pkt_timebase = track.m_stream->time_base;
        if (const int code = avcodec_open2(track.m_decoder.get(), decoder, nullptr); code < 0)
            return ffmpegError("cannot decode " + path, code);
        return track;
    }

    const AVStream& stream() const { return *m_stream; }
    double secondsOf(std::int64_t ticks) const {
        return static_cast<double>(ticks) * av_q2d(m_stream->time_base);
    }

    void decode(const Receive& receive) {
        const FFmpegPtr<AVPacket> packet(av_packet_alloc());
        while (av_read_frame(m_input.get(), packet.get()) >= 0) {
            if (packet->stream_index == m_stream->index)
                decodePacket(packet.get(), receive);
            av_packet_unref(packet.get());
        }
        decodePacket(nullptr, receive);
    }

private:
    void decodePacket(const AVPacket* packet, const Receive& receive) {
        const FFmpegPtr<AVFrame> frame(av_frame_alloc());
        avcodec_send_packet(m_decoder.get(), packet);
        while (avcodec_receive_frame(m_decoder.get(), frame.get()) >= 0)
            receive(*frame);
    }

    std::unique_ptr<AVFormatContext, CloseInput> m_input;
    FFmpegPtr<AVCodecContext> m_decoder;
    AVStream* m_stream = nullptr;
};

/// A last block that is longer than the track is marked by a shorter duration.
void append(DecodedSound& sound, const AVFrame& frame, AVRational timeBase) {
    const auto marked = av_rescale_q(frame.pkt_duration, timeBase, {1, frame.sample_rate});
    const int count = static_cast<int>(std::min<std::int64_t>(frame.nb_samples, marked));
    const bool planar = frame.format == AV_SAMPLE_FMT_FLTP;
    for (std::size_t channel = 0; channel < 2; ++channel) {
        const auto* data =
            reinterpret_cast<const float*>(frame.extended_data[planar ? channel : 0]);
        for (int i = 0; i < count; ++i)
            sound.channels[channel].push_back(planar ? data[i] : data[2 * i + int(channel)]);
    }
}

std::vector<std::uint32_t> toPixels(const AVFrame& frame) {
    std::vector<std::uint32_t> pixels(static_cast<std::size_t>(frame.width * frame.height));
    const FFmpegPtr<SwsContext> converter(sws_getContext(
        frame.width, frame.height, static_cast<AVPixelFormat>(frame.format), frame.width,
        frame.height, AV_PIX_FMT_RGB32, SWS_POINT | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INT, nullptr,
        nullptr, nullptr));
    const int* matrix = sws_getCoefficients(frame.colorspace);
    sws_setColorspaceDetails(converter.get(), matrix, frame.color_range == AVCOL_RANGE_JPEG, matrix,
                             1, 0, 1 << 16, 1 << 16);
    auto* const target = reinterpret_cast<std::uint8_t*>(pixels.data());
    const int rowLength = frame.width * 4;
    sws_scale(converter.get(), frame.data, frame.linesize, 0, frame.height, &target, &rowLength);
    return pixels;
}

std::string coloursOf(const AVCodecParameters& track) {
    return std::string(av_color_primaries_name(track.color_primaries)) + "/" +
           av_color_transfer_name(track.color_trc) + "/" + av_color_space_name(track.color_space) +
           "/" + av_color_range_name(track.color_range);
}

} // namespace

Result<DecodedSound> readSound(const std::string& path) {
    Track track = SL42_TRY(Track::open(path, AVMEDIA_TYPE_AUDIO));
    const AVCodecParameters& parameters = *track.stream().codecpar;
    DecodedSound sound{.codec = avcodec_get_name(parameters.codec_id),
                       .sampleRate = parameters.sample_rate,
                       .channelCount = parameters.ch_layout.nb_channels,
                       .bitRate = parameters.bit_rate,
                       .duration = av_rescale_q(track.stream().duration, track.stream().time_base,
                                                {1, parameters.sample_rate}),
                       .channels = {}};
    track.decode([&](const AVFrame& frame) { append(sound, frame, track.stream().time_base); });
    return sound;
}

Result<DecodedVideo> readVideo(const std::string& path) {
    Track track = SL42_TRY(Track::open(path, AVMEDIA_TYPE_VIDEO));
    const AVCodecParameters& parameters = *track.stream().codecpar;
    DecodedVideo video{.codec = avcodec_get_name(parameters.codec_id),
                       .width = static_cast<std::uint32_t>(parameters.width),
                       .height = static_cast<std::uint32_t>(parameters.height),
                       .duration = track.secondsOf(track.stream().duration),
                       .colours = coloursOf(parameters),
                       .frames = {}};
    track.decode([&](const AVFrame& frame) {
        video.frames.push_back({track.secondsOf(frame.best_effort_timestamp), toPixels(frame)});
    });
    return video;
}

double levelAt(double frequency, std::span<const float> samples) {
    std::complex<double> sum = 0; // of the correlation with it
    for (std::size_t i = 0; i < samples.size(); ++i)
        sum += std::polar(double(samples[i]),
                          2 * std::numbers::pi * frequency * static_cast<double>(i) / 48000);
    return 2 * std::abs(sum) / static_cast<double>(samples.size());
}

} // namespace platform::tests
