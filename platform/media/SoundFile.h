// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Reads sound files, and the sound of movie files, as a sound input would hear them.
#pragma once

#include "platform/base/Result.h"

#include <cstddef>
#include <string>
#include <vector>

namespace platform {

/// The first `mostSamples` of the file's first sound track, whatever its coding: 48000 a second,
/// all channels mixed into one. The error is one line with the path. A file that is damaged further
/// on gives what comes before.
Result<std::vector<float>> readMonoSound(const std::string& path, std::size_t mostSamples);

} // namespace platform
