// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/media/FrameConverter.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <utility>

namespace platform {

Result<FrameConverter> FrameConverter::create(const MovieFormat& format) {
    const int repeat = static_cast<int>(format.repeat);
    const int width = static_cast<int>(format.width) / repeat;
    const int height = static_cast<int>(format.height) / repeat;
    const bool doublesLuma = repeat == 2;
    const int scale = doublesLuma ? 1 : repeat;
    const int filter = repeat > 1 ? SWS_POINT : SWS_AREA;
    FFmpegPtr<SwsContext> context(sws_getContext(
        width, height, AV_PIX_FMT_0RGB32, width * scale, height * scale,
        doublesLuma ? AV_PIX_FMT_YUV444P : AV_PIX_FMT_YUV420P,
        filter | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INP | SWS_BITEXACT, nullptr, nullptr, nullptr));
    if (!context)
        return Error{"there is no video of that size"};
    const int* matrix = sws_getCoefficients(SWS_CS_ITU709);
    constexpr int one = 1 << 16; // brightness is left alone; contrast and saturation are 1
    sws_setColorspaceDetails(context.get(), matrix, 1, matrix, 0, 0, one, one);
    return FrameConverter(std::move(context), width, height, doublesLuma);
}

FrameConverter::FrameConverter(FFmpegPtr<SwsContext> context, int width, int height,
                               bool doublesLuma)
    : m_context(std::move(context)), m_width(width), m_height(height), m_doublesLuma(doublesLuma) {
    if (doublesLuma)
        m_luma.resize(std::size_t(width) * std::size_t(height));
}

void FrameConverter::convert(std::span<const std::uint32_t> pixels, AVFrame& frame) {
    assert(pixels.size() == std::size_t(m_width) * std::size_t(m_height));
    const auto* const source = reinterpret_cast<const std::uint8_t*>(pixels.data());
    const int rowLength = m_width * static_cast<int>(sizeof pixels[0]);
    std::array planes{frame.data[0], frame.data[1], frame.data[2]};
    std::array strides{frame.linesize[0], frame.linesize[1], frame.linesize[2]};
    if (m_doublesLuma) {
        planes[0] = m_luma.data();
        strides[0] = m_width;
    }
    sws_scale(m_context.get(), &source, &rowLength, 0, m_height, planes.data(), strides.data());
    if (m_doublesLuma)
        doubleLuma(frame);
}

void FrameConverter::doubleLuma(AVFrame& frame) const {
    const auto width = static_cast<std::size_t>(m_width);
    for (int y = 0; y < m_height; ++y) {
        const std::uint8_t* const from = &m_luma[std::size_t(y) * width];
        std::uint8_t* const to = frame.data[0] + std::ptrdiff_t(2) * y * frame.linesize[0];
        for (std::size_t x = 0; x < width; ++x)
            to[2 * x] = to[2 * x + 1] = from[x];
        std::copy_n(to, 2 * width, to + frame.linesize[0]);
    }
}

} // namespace platform
