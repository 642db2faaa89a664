// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A recorded performance as a movie: the same programs on the same input, drawn anew.
#pragma once

#include "SL42/offline/PerformanceReplay.h"
#include "SL42/offline/VideoExport.h"
#include "SL42/performance/PerformanceReader.h"
#include "platform/base/Result.h"

#include <optional>
#include <stop_token>
#include <string>

namespace starloom {

/// What was not as it should be, a line each, although there is a movie.
struct PerformanceFaults {
    std::optional<std::string> damage;  ///< of the file
    std::optional<std::string> program; ///< the first fault of one while it ran
};

/// Has `replay`, which is new, draw every frame of the performance in its turn, whole, and shows it
/// at its time; the song is the programs' own. `settings.length` ends it early, unless it is 0.
/// What a program does wrong leaves the last picture, as it does on stage. Otherwise like
/// exportVideo(); `progress` is told of frames without a total, which is 0.
platform::Result<PerformanceFaults>
exportPerformance(PerformanceReplay& replay, PerformanceReader& performance,
                  const VideoSettings& settings, const std::string& path,
                  const VideoProgress& progress, const std::stop_token& stop = {});

} // namespace starloom
