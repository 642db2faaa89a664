// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/media/FFmpeg.h"

extern "C" {
#include <libavutil/error.h>
}

#include <array>

namespace platform {

Error ffmpegError(std::string_view what, int code) {
    std::array<char, AV_ERROR_MAX_STRING_SIZE> reason{};
    av_strerror(code, reason.data(), reason.size());
    return Error{std::string(what) + ": " + reason.data()};
}

} // namespace platform
