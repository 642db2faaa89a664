// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "app/panes/Performance.h"

#include <algorithm>
#include <cmath>

namespace app {

SongPosition songPositionAt(const starloom::AudioSpec& song, std::uint32_t sample) {
    const starloom::AudioSpec oneBeat{
        .bpm = song.bpm, .beatsPerBar = 1, .barsPerPattern = 1, .patternCount = 1};
    const auto samplesPerBeat = oneBeat.sampleCount(starloom::audioSampleRate);
    if (!song.check() || samplesPerBeat == 0)
        return {};
    const std::uint64_t beats = sample / samplesPerBeat;
    const std::uint64_t bars = beats / song.beatsPerBar;
    return {.pattern = bars / song.barsPerPattern % song.patternCount + 1,
            .bar = bars % song.barsPerPattern + 1,
            .beat = beats % song.beatsPerBar + 1};
}

float peakBefore(const platform::PCMBuffer& song, std::uint32_t sample) {
    const std::uint32_t length = song.frameLength();
    const std::uint32_t count = std::min(length, starloom::audioSampleRate / 20);
    float peak = 0;
    for (std::uint32_t channel = 0; channel < platform::PCMBuffer::channelCount; ++channel)
        for (std::uint32_t i = 1; i <= count; ++i)
            peak = std::max(
                peak, std::abs(song.channel(channel)[(sample % length + length - i) % length]));
    return peak;
}

} // namespace app
