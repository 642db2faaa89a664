// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/media/VideoEncoder.h"

#include "platform/media/FilmFrame.h"

extern "C" {
#include <libavutil/opt.h>
}

#include <cassert>
#include <utility>

namespace platform {
namespace {

// Quality, not size, is held constant: fine grain and hard edges are what programs draw. 0 is
// lossless in all scales. x264 holds its quantiser constant, since it looks at every frame an
// additional time to choose another one; 20 gives files as large as a "crf" of 18.
constexpr const char* h264Quality = "20"; // of 51
constexpr int mpeg4Quality = 2;           // of 31
constexpr const char* vp9Quality = "18";  // of 63

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

// Speed is bought with size, not with quality: the fastest settings of x264 need half again the
// bytes of slower ones for pictures that are as good, and a quarter of their time. To look for
// blocks whose few coefficients could be left out as well saves a twentieth of the bytes at most,
// makes pictures worse and takes a tenth of the time. Settings for VP9 are meant for live pictures.
void setQuality(AVCodecContext& context, VideoCodec codec, EncodingEffort effort) {
    const bool live = effort == EncodingEffort::Live;
    const auto set = [&context](const char* option, const char* value) {
        av_opt_set(context.priv_data, option, value, 0);
    };
    if (live)
        context.max_b_frames = 0;
    switch (codec) {
    case VideoCodec::H264:
        set("preset", "ultrafast");
        if (live)
            set("tune", "zerolatency");
        set("qp", h264Quality);
        set("forced-idr", "1");
        set("x264-params", "no-dct-decimate=1");
        return;
    case VideoCodec::MPEG4:
        context.flags |= AV_CODEC_FLAG_QSCALE;
        context.global_quality = FF_QP2LAMBDA * mpeg4Quality;
        return;
    case VideoCodec::VP9:
        set("deadline", "realtime");
        set("cpu-used", "8");
        set("crf", vp9Quality);
        context.bit_rate = 0; // the quality alone decides
        set("row-mt", "1");
        set("tile-columns", "2");
        return;
    case VideoCodec::GIF:
        return;
    }
}

const AVCodec* findEncoder(VideoCodec codec) {
    switch (codec) {
    case VideoCodec::H264:
        return avcodec_find_encoder_by_name("libx264");
    case VideoCodec::MPEG4:
        return avcodec_find_encoder(AV_CODEC_ID_MPEG4);
    case VideoCodec::VP9:
        return avcodec_find_encoder_by_name("libvpx-vp9");
    case VideoCodec::GIF:
        break;
    }
    return avcodec_find_encoder(AV_CODEC_ID_GIF);
}

Result<FFmpegPtr<AVCodecContext>> openEncoder(const PacketSink& sink, const MovieFormat& format) {
    const AVCodec* encoder = findEncoder(format.codec);
    if (!encoder)
        return Error{"there is no encoder for video"};
    FFmpegPtr<AVCodecContext> context(avcodec_alloc_context3(encoder));
    if (!context)
        return ffmpegError(cannotEncode, AVERROR(ENOMEM));
    context->width = static_cast<int>(format.width);
    context->height = static_cast<int>(format.height);
    context->sample_aspect_ratio = {1, 1};
    context->pix_fmt = format.codec == VideoCodec::GIF ? AV_PIX_FMT_PAL8 : AV_PIX_FMT_YUV420P;
    context->framerate = {static_cast<int>(format.frameRate.numerator),
                          static_cast<int>(format.frameRate.denominator)};
    context->time_base = av_inv_q(context->framerate);
    context->gop_size = static_cast<int>(jumpInterval * av_q2d(context->framerate) + 1);
    context->thread_count = // 0: as many as the machine has
        format.effort == EncodingEffort::Live ? liveThreads : 0;
    if (format.codec != VideoCodec::GIF)
        describeColours(*context);
    setQuality(*context, format.codec, format.effort);
    if (sink.wantsGlobalHeader())
        context->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    if (const int code = avcodec_open2(context.get(), encoder, nullptr); code < 0)
        return ffmpegError(cannotEncode, code);
    return context;
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
    auto context = SL42_TRY(openEncoder(sink, format));
    const int track = SL42_TRY(sink.addTrack(*context));
    VideoEncoder encoder(std::move(context), track, format.repeat);
    if (format.codec == VideoCodec::GIF) {
        encoder.m_palettes.emplace(SL42_TRY(PaletteFilter::create(format)));
    } else {
        if (format.repeat == 1)
            encoder.m_converter.emplace(SL42_TRY(FrameConverter::create(format)));
        encoder.m_frame = SL42_TRY(makeFrame(*encoder.m_context));
    }
    return encoder;
}

VideoEncoder::VideoEncoder(FFmpegPtr<AVCodecContext> context, int track, std::uint32_t repeat)
    : m_context(std::move(context)), m_track(track), m_repeat(repeat) {}

Result<void> VideoEncoder::write(PacketSink& sink, std::span<const std::uint32_t> pixels) {
    if (m_palettes) {
        SL42_TRY_VOID(m_palettes->add(pixels, m_next++));
        return encodePaletted(*m_palettes, sink);
    }
    if (!m_converter)
        return Error{cannotEncode};
    SL42_TRY_VOID(makeFrameWritable());
    m_converter->convert(pixels, *m_frame);
    return encodeFrame(sink);
}

Result<void> VideoEncoder::writePicture(PacketSink& sink, std::span<const std::uint16_t> halves) {
    assert(m_frame && !m_converter);
    SL42_TRY_VOID(makeFrameWritable());
    drawFilmFrame(halves, m_repeat, *m_frame);
    return encodeFrame(sink);
}

/// The encoder may still hold on to the picture before.
Result<void> VideoEncoder::makeFrameWritable() {
    if (const int code = av_frame_make_writable(m_frame.get()); code < 0)
        return ffmpegError(cannotEncode, code);
    return {};
}

Result<void> VideoEncoder::encodeFrame(PacketSink& sink) {
    m_frame->pts = m_next++;
    m_frame->pict_type =
        std::exchange(m_beginsAnew, false) ? AV_PICTURE_TYPE_I : AV_PICTURE_TYPE_NONE;
    return sink.encode(*m_context, m_frame.get(), m_track);
}

Result<void> VideoEncoder::encodePaletted(PaletteFilter& palettes, PacketSink& sink) {
    while (const AVFrame* frame = SL42_TRY(palettes.take()))
        SL42_TRY_VOID(sink.encode(*m_context, frame, m_track));
    return {};
}

Result<void> VideoEncoder::finish(PacketSink& sink) {
    if (m_palettes) {
        SL42_TRY_VOID(m_palettes->end());
        SL42_TRY_VOID(encodePaletted(*m_palettes, sink));
    }
    return sink.encode(*m_context, nullptr, m_track);
}

} // namespace platform
