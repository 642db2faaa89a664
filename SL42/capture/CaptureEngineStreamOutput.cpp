// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/capture/CaptureEngineStreamOutput.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace starloom {

// Larger windows than anybody has are taken as they are.
static std::uint32_t extent(std::uint32_t points, std::uint32_t pixelsPerPoint) {
    const std::uint32_t pixels = points * pixelsPerPoint;
    return std::clamp(pixels <= CaptureSurface::maxExtent ? pixels : points, 1U,
                      CaptureSurface::maxExtent);
}

void CaptureEngineStreamOutput::receive(const platform::CapturedPicture& picture,
                                        std::uint32_t pixelsPerPoint) {
    const auto points = [&](std::uint32_t pixels) {
        return std::max(1U, static_cast<std::uint32_t>(std::floor(pixels / picture.scale)));
    };
    CapturedFrame frame;
    frame.contentWidth = points(picture.width);
    frame.contentHeight = points(picture.height);
    frame.scaleFactor = picture.scale;
    frame.surface = m_surfaces.take(extent(frame.contentWidth, pixelsPerPoint),
                                    extent(frame.contentHeight, pixelsPerPoint));
    pictureHandler(picture);
    if (!frame.surface)
        return;
    frame.contentScale = static_cast<double>(frame.surface->width()) / picture.width;
    m_converter.convert(picture, frame.surface->planes());
    capturedFrameHandler(std::move(frame));
}

} // namespace starloom
