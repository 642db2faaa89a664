// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Turns what a console shows and plays into a movie file.
#pragma once

#include "SL42/offline/MovieThread.h"
#include "SL42/offline/OfflineConsole.h"
#include "platform/base/Result.h"
#include "platform/media/MovieFormat.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <stop_token>
#include <string>

namespace starloom {

struct VideoSettings {
    /// In seconds, to the nearest frame; 0 for once through the song.
    double length = 0;
    platform::FrameRate frameRate{};
    /// Of the movie, as in platform::MovieFormat. The picture lies in it as in a window of that
    /// size, on black.
    std::uint32_t width = 1920;
    std::uint32_t height = 1080;
};

/// Told after every frame how many of how many are done.
using VideoProgress = std::function<void(std::uint32_t done, std::uint32_t total)>;

/// Begins a movie, of the kind that the name's ending says, to be written under that name.
platform::Result<std::unique_ptr<MovieThread>> openMovie(const VideoSettings& settings,
                                                         bool hasSound, const std::string& path);

/// Draws frame after frame on the console's own clock, so the result does not depend on how long
/// that takes, and writes them to `path`. The console's program has just been compiled. The song is
/// looped to the length of the video; a program without one makes a movie without a sound track.
///
/// `stop` ends it before the next frame, with an error like every other failure: one line, and
/// whatever stood under the name stands there still. Runs on the console's thread, which may be any
/// one.
platform::Result<void> exportVideo(OfflineConsole& console, const VideoSettings& settings,
                                   const std::string& path, const VideoProgress& progress,
                                   const std::stop_token& stop = {});

} // namespace starloom
