// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/offline/VideoCanvas.h"

#include "SL42/hardware/Screen.h"
#include "platform/image/DisplayColours.h"
#include "platform/image/Image.h"

#include <algorithm>
#include <cassert>

namespace starloom {

static constexpr std::uint32_t black = 0xff000000U;

std::uint32_t VideoCanvas::repeatFor(std::uint32_t width, std::uint32_t height) {
    const auto placement = placePicture(static_cast<int>(width), static_cast<int>(height), false);
    const std::uint32_t scale = static_cast<std::uint32_t>(placement.width) / screenWidth;
    if (scale % 2 != 0 || scale == 0 || width % scale != 0 || height % scale != 0)
        return 1;
    const auto small =
        placePicture(static_cast<int>(width / scale), static_cast<int>(height / scale), false);
    const auto factor = static_cast<int>(scale);
    const PicturePlacement repeated{small.x * factor, small.y * factor, small.width * factor,
                                    small.height * factor};
    return repeated == placement && small.width == int{screenWidth} ? scale : 1;
}

VideoCanvas::VideoCanvas(std::uint32_t width, std::uint32_t height)
    : m_width(width),
      m_placement(placePicture(static_cast<int>(width), static_cast<int>(height), false)),
      m_scaler({screenWidth, screenHeight}, {static_cast<std::size_t>(m_placement.width),
                                             static_cast<std::size_t>(m_placement.height)}),
      m_picture(m_scaler.source().area()),
      m_scaled(m_scaler.target().area()),
      m_frame(std::size_t{width} * height, black) {}

std::span<const std::uint32_t> VideoCanvas::show(std::span<const std::uint16_t> picture) {
    if (m_scaler.target() == m_scaler.source() && m_picture.size() == m_frame.size()) {
        platform::convertToDisplay(picture, m_frame);
        return m_frame;
    }
    platform::convertToDisplay(picture, m_picture);
    m_scaler.scale(m_picture, m_scaled);
    if (m_scaled.size() == m_frame.size())
        return m_scaled;
    copyRows(std::span<const std::uint32_t>(m_scaled), m_frame, 1);
    return m_frame;
}

std::span<const std::uint16_t> VideoCanvas::place(std::span<const std::uint16_t> picture) {
    assert(m_scaler.target() == m_scaler.source());
    if (m_picture.size() == m_frame.size())
        return picture;
    m_halves.resize(m_frame.size() * platform::Image::channelsPerPixel);
    copyRows(picture, m_halves, platform::Image::channelsPerPixel);
    return m_halves;
}

/// Pixels that consist of so many values, to where the picture lies in the frame.
template <class T>
void VideoCanvas::copyRows(std::span<const T> picture, std::vector<T>& frame,
                           std::size_t values) const {
    const auto [width, height] = m_scaler.target();
    const auto x = static_cast<std::size_t>(m_placement.x);
    const auto y = static_cast<std::size_t>(m_placement.y);
    for (std::size_t row = 0; row < height; ++row)
        std::copy_n(picture.data() + row * width * values, width * values,
                    frame.data() + ((y + row) * m_width + x) * values);
}

} // namespace starloom
