// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/hardware/AudioSpec.h"

#include "platform/base/Fatal.h"
#include "platform/process/ResidentMemory.h"

#include <limits>

namespace starloom {

/// A song is held twice: as the device writes it and as it is played.
static constexpr std::uint64_t bytesPerSample = 16;

platform::Result<std::uint64_t> AudioSpec::count(std::uint64_t sampleRate) const {
    const double samplesPerBeat = 60.0 / static_cast<double>(bpm) * static_cast<double>(sampleRate);
    // Written so that it also catches what is not a number.
    if (!(samplesPerBeat < 0x1p64))
        return platform::Error{"A beat of the song has no finite length"};
    auto samples = static_cast<std::uint64_t>(samplesPerBeat);
    for (const std::uint64_t factor : {beatsPerBar, barsPerPattern, patternCount})
        if (__builtin_mul_overflow(samples, factor, &samples))
            return platform::Error{"The song has too many samples"};
    return samples;
}

std::uint64_t AudioSpec::sampleCount(std::uint64_t sampleRate) const {
    const auto samples = count(sampleRate);
    if (!samples)
        platform::fatalError(samples.error().message);
    return *samples;
}

platform::Result<void> AudioSpec::check() const {
    const std::uint64_t samples = SL42_TRY(count(audioSampleRate));
    if (samples == 0)
        return platform::Error{"The song has no samples"};
    if (samples > std::numeric_limits<std::uint32_t>::max() ||
        duration() * audioSampleRate >= 0x1p32)
        return platform::Error{"The song has too many samples"};
    const std::uint64_t memory = platform::physicalMemory();
    if (memory > 0 && samples > memory / 2 / bytesPerSample)
        return platform::Error{"The song needs more memory than there is"};
    return {};
}

double AudioSpec::duration() const {
    return 60.0 / static_cast<double>(bpm) * static_cast<double>(beatsPerBar) *
           static_cast<double>(barsPerPattern) * static_cast<double>(patternCount);
}

} // namespace starloom
