// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Sizes of pictures and movies as they are written on the command line.
#pragma once

#include "platform/base/Result.h"

#include <cstdint>
#include <string>

namespace cli {

struct PictureSize {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
};

/// "1920x1080": width and height from 1 to 8192, of a movie even numbers from 64 to 4096. The error
/// says so.
platform::Result<PictureSize> parsePictureSize(const std::string& text);
platform::Result<PictureSize> parseMovieSize(const std::string& text);

} // namespace cli
