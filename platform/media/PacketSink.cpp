// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/media/PacketSink.h"

namespace platform {

Result<int> PacketSink::addTrack(const AVCodecContext& encoder) {
    const FFmpegPtr<AVCodecParameters> parameters(avcodec_parameters_alloc());
    const int code =
        parameters ? avcodec_parameters_from_context(parameters.get(), &encoder) : AVERROR(ENOMEM);
    if (code < 0)
        return ffmpegError("cannot describe a track", code);
    return addTrack(*parameters, {.timeBase = encoder.time_base, .frameRate = encoder.framerate});
}

Result<void> PacketSink::encode(AVCodecContext& encoder, const AVFrame* frame, int track) {
    if (!m_packet)
        m_packet.reset(av_packet_alloc());
    int code = m_packet ? avcodec_send_frame(&encoder, frame) : AVERROR(ENOMEM);
    while (code >= 0) {
        code = avcodec_receive_packet(&encoder, m_packet.get());
        if (code == AVERROR(EAGAIN) || code == AVERROR_EOF)
            return {};
        if (code < 0)
            break;
        if (m_packet->duration == 0)
            m_packet->duration = 1; // video: one frame
        SL42_TRY_VOID(write(*m_packet, track));
    }
    return ffmpegError("cannot encode", code);
}

} // namespace platform
