// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The musical layout of the song, which also sets its length.
#pragma once

#include "platform/base/Result.h"

#include <cstdint>

namespace starloom {

/// Samples per second, everywhere.
inline constexpr std::uint32_t audioSampleRate = 48000;

struct AudioSpec {
    std::uint64_t bpm = 120; ///< beats per minute
    std::uint64_t beatsPerBar = 4;
    std::uint64_t barsPerPattern = 8;
    std::uint64_t patternCount = 1;

    bool operator==(const AudioSpec&) const = default;

    /// Number of samples of the whole song. A beat is a whole number of samples, rounded down.
    /// Stops the program when a beat or the song does not fit 64 bits, as at 0 beats per minute.
    std::uint64_t sampleCount(std::uint64_t sampleRate) const;
    /// Whether the console can play such a song: it has samples, their number fits 32 bits, and so
    /// does the time in samples, and it needs no more than half of the machine's memory. The error
    /// says what is wrong with it. What this accepts stops no program.
    platform::Result<void> check() const;

    /// Length of the song in seconds, without the rounding of sampleCount().
    double duration() const;

private:
    platform::Result<std::uint64_t> count(std::uint64_t sampleRate) const;
};

} // namespace starloom
