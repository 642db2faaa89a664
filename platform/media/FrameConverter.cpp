// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/media/FrameConverter.h"

#include <cassert>
#include <utility>

namespace platform {

Result<FrameConverter> FrameConverter::create(const MovieFormat& format) {
    const int width = static_cast<int>(format.width);
    const int height = static_cast<int>(format.height);
    FFmpegPtr<SwsContext> context(
        sws_getContext(width, height, AV_PIX_FMT_0RGB32, width, height, AV_PIX_FMT_YUV420P,
                       SWS_AREA | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INP | SWS_BITEXACT, nullptr,
                       nullptr, nullptr));
    if (!context)
        return Error{"there is no video of that size"};
    const int* matrix = sws_getCoefficients(SWS_CS_ITU709);
    constexpr int one = 1 << 16; // brightness is left alone; contrast and saturation are 1
    sws_setColorspaceDetails(context.get(), matrix, 1, matrix, 0, 0, one, one);
    return FrameConverter(std::move(context), format);
}

FrameConverter::FrameConverter(FFmpegPtr<SwsContext> context, const MovieFormat& format)
    : m_context(std::move(context)),
      m_width(static_cast<int>(format.width)),
      m_height(static_cast<int>(format.height)) {}

void FrameConverter::convert(std::span<const std::uint32_t> pixels, AVFrame& frame) {
    assert(pixels.size() == std::size_t(m_width) * std::size_t(m_height));
    const auto* const source = reinterpret_cast<const std::uint8_t*>(pixels.data());
    const int rowLength = m_width * static_cast<int>(sizeof pixels[0]);
    sws_scale(m_context.get(), &source, &rowLength, 0, m_height, frame.data, frame.linesize);
}

} // namespace platform
