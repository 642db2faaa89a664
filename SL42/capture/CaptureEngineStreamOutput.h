// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Where the capture's pictures arrive: makes frames of them, on the capture's own thread.
#pragma once

#include "SL42/capture/CaptureSurface.h"
#include "platform/capture/WindowCapture.h"

#include <cstdint>
#include <functional>
#include <memory>

namespace starloom {

/// What a stream delivers.
struct StreamConfiguration {
    /// Pixels of a frame for each point of the window.
    std::uint32_t pixelsPerPoint = 2;
    std::uint32_t framesPerSecond = 60;
};

/// A complete picture of the window.
struct CapturedFrame {
    std::shared_ptr<CaptureSurface> surface;
    std::uint32_t contentWidth = 0; ///< of the window, in points
    std::uint32_t contentHeight = 0;
    double contentScale = 1; ///< pixels of the surface for each of the window
    double scaleFactor = 1;  ///< pixels of the window for each point
};

class CaptureEngineStreamOutput {
public:
    /// Gets every frame. Set before the stream begins.
    std::function<void(CapturedFrame)> capturedFrameHandler = [](const CapturedFrame&) {};
    /// Gets every picture as it came.
    std::function<void(const platform::CapturedPicture&)> pictureHandler =
        [](const platform::CapturedPicture&) {};

    /// Converts the picture into a surface. Drops it when none is to be had.
    void receive(const platform::CapturedPicture& picture, std::uint32_t pixelsPerPoint);

private:
    CaptureSurfacePool m_surfaces;
    platform::YUVConverter m_converter;
};

} // namespace starloom
