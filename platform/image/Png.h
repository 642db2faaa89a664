// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Pictures as PNG files: 8 bits a channel, standard range, for looking at and for golden images.
#pragma once

#include "platform/base/Result.h"
#include "platform/image/Image.h"

#include <string>

namespace platform {

/// Writes RGB without alpha, as the console's view shows it: the view is opaque. The file says
/// that its colours are Display P3. The error is one line with the path and the reason.
Result<void> writePng(const Image& image, const std::string& path);

/// Reads any PNG file as RGBA; files without alpha read as opaque.
Result<Image> readPng(const std::string& path);

} // namespace platform
