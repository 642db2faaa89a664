// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The console's pictures as encoders for film want them, enlarged by a whole number, in one pass:
// what FrameConverter would make of each repeated pixel, without the pictures in between.
#pragma once

#include "platform/media/FFmpeg.h"

#include <cstdint>
#include <span>

namespace platform {

/// Fills a frame in YUV420P with a picture of half floats as in Image, whose width and height are
/// those of the frame divided by `repeat`, an even number.
void drawFilmFrame(std::span<const std::uint16_t> halves, std::uint32_t repeat, AVFrame& frame);

} // namespace platform
