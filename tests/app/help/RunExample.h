// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A program of the help or of a page, run as a newcomer would.
#pragma once

#include "platform/base/Result.h"
#include "platform/image/Image.h"

#include <string>

namespace help::tests {

/// Compiles it, draws some frames and expects a picture that is not one colour, and a song, if it
/// has one, that can be heard and is not cut off.
void expectRuns(const std::string& title, const std::string& source);

/// What it shows after a few frames. The error holds the compile log, or the device's line.
platform::Result<platform::Image> pictureOf(const std::string& title, const std::string& source);

} // namespace help::tests
