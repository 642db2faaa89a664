// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Pictures as OpenEXR files: half floats bit for bit, with everything outside the standard range.
#pragma once

#include "platform/base/Result.h"
#include "platform/image/Image.h"

#include <string>

namespace platform {

/// Writes the four channels as they are, without a change of transfer curve or range; the file
/// names the primaries of Display P3 and says in words that the values are encoded, because
/// readers expect linear ones. The error is one line with the path and the reason.
Result<void> writeExr(const Image& image, const std::string& path);

/// Reads the channels R, G, B and A as half floats. Channels that the file lacks read as 0, alpha
/// as 1.
Result<Image> readExr(const std::string& path);

} // namespace platform
