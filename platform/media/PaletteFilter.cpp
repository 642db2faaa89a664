// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/media/PaletteFilter.h"

extern "C" {
#include <libavfilter/buffersink.h>
#include <libavfilter/buffersrc.h>
}

#include <cstring>
#include <sstream>
#include <string>

namespace platform {
namespace {

constexpr const char* cannotReduce = "cannot find colours for the video";

std::string describe(const MovieFormat& format) {
    std::ostringstream text;
    text << "buffer@in=video_size=" << format.width << 'x' << format.height
         << ":pix_fmt=" << static_cast<int>(AV_PIX_FMT_RGB32)
         << ":time_base=" << format.frameRate.denominator << '/' << format.frameRate.numerator
         << ":pixel_aspect=1/1,split[a][b];[a]palettegen=stats_mode=single[palette];"
            "[b][palette]paletteuse=new=1:dither=bayer:bayer_scale=4,buffersink@out";
    return text.str();
}

} // namespace

Result<PaletteFilter> PaletteFilter::create(const MovieFormat& format) {
    PaletteFilter filter;
    filter.m_graph.reset(avfilter_graph_alloc());
    filter.m_picture.reset(av_frame_alloc());
    filter.m_paletted.reset(av_frame_alloc());
    if (!filter.m_graph || !filter.m_picture || !filter.m_paletted)
        return ffmpegError(cannotReduce, AVERROR(ENOMEM));
    AVFilterInOut* inputs = nullptr;
    AVFilterInOut* outputs = nullptr;
    int code =
        avfilter_graph_parse2(filter.m_graph.get(), describe(format).c_str(), &inputs, &outputs);
    avfilter_inout_free(&inputs);
    avfilter_inout_free(&outputs);
    if (code >= 0)
        code = avfilter_graph_config(filter.m_graph.get(), nullptr);
    filter.m_source = avfilter_graph_get_filter(filter.m_graph.get(), "buffer@in");
    filter.m_sink = avfilter_graph_get_filter(filter.m_graph.get(), "buffersink@out");
    if (code >= 0 && (!filter.m_source || !filter.m_sink))
        code = AVERROR_FILTER_NOT_FOUND;
    if (code < 0)
        return ffmpegError(cannotReduce, code);
    filter.m_picture->format = AV_PIX_FMT_RGB32;
    filter.m_picture->width = static_cast<int>(format.width);
    filter.m_picture->height = static_cast<int>(format.height);
    return filter;
}

Result<void> PaletteFilter::add(std::span<const std::uint32_t> pixels, std::int64_t number) {
    // The filters keep what they are given, so each picture has memory of its own.
    int code = av_frame_get_buffer(m_picture.get(), 0);
    if (code < 0)
        return ffmpegError(cannotReduce, code);
    const auto width = static_cast<std::size_t>(m_picture->width);
    for (std::size_t y = 0; y < static_cast<std::size_t>(m_picture->height); ++y)
        std::memcpy(m_picture->data[0] + y * static_cast<std::size_t>(m_picture->linesize[0]),
                    &pixels[y * width], width * sizeof pixels[0]);
    m_picture->pts = number;
    const int height = m_picture->height;
    code = av_buffersrc_add_frame(m_source, m_picture.get()); // which empties it
    m_picture->format = AV_PIX_FMT_RGB32;
    m_picture->width = static_cast<int>(width);
    m_picture->height = height;
    if (code < 0)
        return ffmpegError(cannotReduce, code);
    return {};
}

Result<void> PaletteFilter::end() {
    if (const int code = av_buffersrc_add_frame(m_source, nullptr); code < 0)
        return ffmpegError(cannotReduce, code);
    return {};
}

Result<const AVFrame*> PaletteFilter::take() {
    av_frame_unref(m_paletted.get());
    const int code = av_buffersink_get_frame(m_sink, m_paletted.get());
    if (code == AVERROR(EAGAIN) || code == AVERROR_EOF)
        return static_cast<const AVFrame*>(nullptr);
    if (code < 0)
        return ffmpegError(cannotReduce, code);
    return static_cast<const AVFrame*>(m_paletted.get());
}

} // namespace platform
