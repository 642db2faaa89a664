// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Ownership of FFmpeg's objects, and its failures in words. Included only by the .cpp files of this
// folder and by the headers that they share; the others see none of it.
#pragma once

#include "platform/base/Result.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavfilter/avfilter.h>
#include <libavformat/avformat.h>
#include <libswscale/swscale.h>
}

#include <memory>
#include <string_view>

namespace platform {

struct FFmpegRelease {
    void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
    void operator()(AVCodecParameters* parameters) const { avcodec_parameters_free(&parameters); }
    void operator()(AVFilterGraph* graph) const { avfilter_graph_free(&graph); }
    void operator()(AVFormatContext* context) const { avformat_free_context(context); }
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
    void operator()(SwsContext* context) const { sws_freeContext(context); }
};

template <class T>
using FFmpegPtr = std::unique_ptr<T, FFmpegRelease>;

/// "cannot encode sound: Invalid argument", say. `code` is what the failed call returned.
Error ffmpegError(std::string_view what, int code);

} // namespace platform
