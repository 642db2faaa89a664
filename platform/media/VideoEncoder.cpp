// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/media/VideoEncoder.h"

extern "C" {
#include <libavutil/opt.h>
}

#include <cassert>
#include <utility>

namespace platform {
namespace {

// Quality, not size, is held constant: fine grain and hard edges are what programs draw. 0 is
// lossless in both scales.
constexpr const char* h264Quality = "17"; // of 51
constexpr int mpeg4Quality = 2;           // of 31

/// Seconds between frames that a player can jump to.
constexpr int jumpInterval = 2;

/// Each codes a slice of the frame, so that nothing waits for later frames.
constexpr int liveThreads = 4;

constexpr const char* cannotEncode = "cannot encode the video";

/// The primaries and the matrix are what the frames are made with. The curve is that of sRGB;
/// players show values tagged as BT.709 unchanged on such a screen, while several misread the tag
/// of sRGB.
void describeColours(AVCodecContext& context) {
    context.color_primaries = AVCOL_PRI_BT709;
    context.color_trc = AVCOL_TRC_BT709;
    context.colorspace = AVCOL_SPC_BT709;
    context.color_range = AVCOL_RANGE_MPEG;
    context.chroma_sample_location = AVCHROMA_LOC_LEFT;
}

void setQuality(AVCodecContext& context, VideoCodec codec, EncodingEffort effort) {
    const bool live = effort == EncodingEffort::Live;
    if (live)
        context.max_b_frames = 0;
    if (codec == VideoCodec::H264) {
        av_opt_set(context.priv_data, "preset", live ? "ultrafast" : "veryfast", 0);
        if (live)
            av_opt_set(context.priv_data, "tune", "zerolatency", 0);
        av_opt_set(context.priv_data, "crf", h264Quality, 0);
        av_opt_set(context.priv_data, "forced-idr", "1", 0);
    } else {
        context.flags |= AV_CODEC_FLAG_QSCALE;
        context.global_quality = FF_QP2LAMBDA * mpeg4Quality;
    }
}

Result<FFmpegPtr<AVCodecContext>> openEncoder(const PacketSink& sink, const MovieFormat& format) {
    const AVCodec* encoder = format.codec == VideoCodec::H264
                                 ? avcodec_find_encoder_by_name("libx264")
                                 : avcodec_find_encoder(AV_CODEC_ID_MPEG4);
    if (!encoder)
        return Error{"there is no encoder for video"};
    FFmpegPtr<AVCodecContext> context(avcodec_alloc_context3(encoder));
    if (!context)
        return ffmpegError(cannotEncode, AVERROR(ENOMEM));
    context->width = static_cast<int>(format.width);
    context->height = static_cast<int>(format.height);
    context->sample_aspect_ratio = {1, 1};
    context->pix_fmt = AV_PIX_FMT_YUV420P;
    context->framerate = {static_cast<int>(format.frameRate.numerator),
                          static_cast<int>(format.frameRate.denominator)};
    context->time_base = av_inv_q(context->framerate);
    context->gop_size = static_cast<int>(jumpInterval * av_q2d(context->framerate) + 1);
    context->thread_count = // 0: as many as the machine has
        format.effort == EncodingEffort::Live ? liveThreads : 0;
    describeColours(*context);
    setQuality(*context, format.codec, format.effort);
    if (sink.wantsGlobalHeader())
        context->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    if (const int code = avcodec_open2(context.get(), encoder, nullptr); code < 0)
        return ffmpegError(cannotEncode, code);
    return context;
}

Result<FFmpegPtr<SwsContext>> makeConverter(const MovieFormat& format) {
    const int width = static_cast<int>(format.width);
    const int height = static_cast<int>(format.height);
    FFmpegPtr<SwsContext> converter(
        sws_getContext(width, height, AV_PIX_FMT_0RGB32, width, height, AV_PIX_FMT_YUV420P,
                       SWS_AREA | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INP | SWS_BITEXACT, nullptr,
                       nullptr, nullptr));
    if (!converter)
        return Error{"there is no video of that size"};
    const int* matrix = sws_getCoefficients(SWS_CS_ITU709);
    constexpr int one = 1 << 16; // brightness is left alone; contrast and saturation are 1
    sws_setColorspaceDetails(converter.get(), matrix, 1, matrix, 0, 0, one, one);
    return converter;
}

Result<FFmpegPtr<AVFrame>> makeFrame(const AVCodecContext& context) {
    FFmpegPtr<AVFrame> frame(av_frame_alloc());
    int code = AVERROR(ENOMEM);
    if (frame) {
        frame->format = context.pix_fmt;
        frame->width = context.width;
        frame->height = context.height;
        code = av_frame_get_buffer(frame.get(), 0);
    }
    if (code < 0)
        return ffmpegError(cannotEncode, code);
    return frame;
}

} // namespace

Result<VideoEncoder> VideoEncoder::create(PacketSink& sink, const MovieFormat& format) {
    auto converter = SL42_TRY(makeConverter(format));
    auto context = SL42_TRY(openEncoder(sink, format));
    auto frame = SL42_TRY(makeFrame(*context));
    const int track = SL42_TRY(sink.addTrack(*context));
    return VideoEncoder(std::move(context), std::move(converter), std::move(frame), track);
}

VideoEncoder::VideoEncoder(FFmpegPtr<AVCodecContext> context, FFmpegPtr<SwsContext> converter,
                           FFmpegPtr<AVFrame> frame, int track)
    : m_context(std::move(context)),
      m_converter(std::move(converter)),
      m_frame(std::move(frame)),
      m_track(track) {}

Result<void> VideoEncoder::write(PacketSink& sink, std::span<const std::uint32_t> pixels) {
    assert(pixels.size() == std::size_t(m_frame->width) * std::size_t(m_frame->height));
    // The encoder may still hold on to the picture before.
    if (const int code = av_frame_make_writable(m_frame.get()); code < 0)
        return ffmpegError(cannotEncode, code);
    const auto* const source = reinterpret_cast<const std::uint8_t*>(pixels.data());
    const int rowLength = m_frame->width * static_cast<int>(sizeof pixels[0]);
    sws_scale(m_converter.get(), &source, &rowLength, 0, m_frame->height, m_frame->data,
              m_frame->linesize);
    m_frame->pts = m_next++;
    m_frame->pict_type =
        std::exchange(m_beginsAnew, false) ? AV_PICTURE_TYPE_I : AV_PICTURE_TYPE_NONE;
    return sink.encode(*m_context, m_frame.get(), m_track);
}

Result<void> VideoEncoder::finish(PacketSink& sink) {
    return sink.encode(*m_context, nullptr, m_track);
}

} // namespace platform
