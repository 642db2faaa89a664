// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/media/MovieFormat.h"

#include "platform/media/FFmpeg.h"

extern "C" {
#include <libavutil/rational.h>
}

namespace platform {

FrameRate FrameRate::nearest(double framesPerSecond) {
    const AVRational rate = av_d2q(framesPerSecond, 65535); // the clock of MPEG-4 has 16 bits
    return {static_cast<std::uint32_t>(rate.num), static_cast<std::uint32_t>(rate.den)};
}

// Encoders of graphics cards are passed over: whether they work shows only when they are used.
VideoCodec bestVideoCodec() {
    return avcodec_find_encoder_by_name("libx264") ? VideoCodec::H264 : VideoCodec::MPEG4;
}

std::optional<VideoCodec> videoCodecFor(std::string_view ending) {
    if (ending == ".mp4")
        return bestVideoCodec();
    if (ending == ".gif" && avcodec_find_encoder(AV_CODEC_ID_GIF))
        return VideoCodec::GIF;
    if (ending == ".webm" && avcodec_find_encoder_by_name("libvpx-vp9"))
        return VideoCodec::VP9;
    return std::nullopt;
}

} // namespace platform
