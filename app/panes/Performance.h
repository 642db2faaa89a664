// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Where the song stands and how loud it is, for whoever performs with it.
#pragma once

#include "SL42/hardware/AudioSpec.h"
#include "platform/audio/PCMBuffer.h"

#include <cstdint>

namespace app {

/// All count from 1, as musicians do.
struct SongPosition {
    std::uint64_t pattern = 1;
    std::uint64_t bar = 1;  ///< of the pattern
    std::uint64_t beat = 1; ///< of the bar
    bool operator==(const SongPosition&) const = default;
};

/// The song loops; `sample` may count on through its rounds.
SongPosition songPositionAt(const starloom::AudioSpec& song, std::uint32_t sample);

/// The largest amplitude of both channels in the twentieth of a second before a position in the
/// song, which loops. 0 for a song without samples.
float peakBefore(const platform::PCMBuffer& song, std::uint32_t sample);

} // namespace app
