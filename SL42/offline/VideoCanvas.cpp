// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/offline/VideoCanvas.h"

#include "SL42/hardware/Screen.h"
#include "platform/image/DisplayColours.h"

#include <algorithm>

namespace starloom {

static constexpr std::uint32_t black = 0xff000000U;

VideoCanvas::VideoCanvas(std::uint32_t width, std::uint32_t height)
    : m_width(width),
      m_placement(placePicture(static_cast<int>(width), static_cast<int>(height), false)),
      m_scaler({screenWidth, screenHeight}, {static_cast<std::size_t>(m_placement.width),
                                             static_cast<std::size_t>(m_placement.height)}),
      m_picture(m_scaler.source().area()),
      m_scaled(m_scaler.target().area()),
      m_frame(std::size_t{width} * height, black) {}

std::span<const std::uint32_t> VideoCanvas::show(const platform::Image& image) {
    platform::convertToDisplay(image.halves(), m_picture);
    m_scaler.scale(m_picture, m_scaled);
    if (m_scaled.size() == m_frame.size())
        return m_scaled;
    const auto [rowLength, rowCount] = m_scaler.target();
    const auto x = static_cast<std::size_t>(m_placement.x);
    const auto y = static_cast<std::size_t>(m_placement.y);
    for (std::size_t row = 0; row < rowCount; ++row)
        std::copy_n(m_scaled.data() + row * rowLength, rowLength,
                    m_frame.data() + (y + row) * m_width + x);
    return m_frame;
}

} // namespace starloom
