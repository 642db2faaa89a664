// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/engine/AudioSpec.h"

#include "platform/base/Fatal.h"

namespace starloom {

static std::uint64_t checkedProduct(std::uint64_t a, std::uint64_t b) {
    std::uint64_t product = 0;
    if (__builtin_mul_overflow(a, b, &product))
        platform::fatalError("The song has too many samples");
    return product;
}

std::uint64_t AudioSpec::sampleCount(std::uint64_t sampleRate) const {
    const double samplesPerBeat = 60.0 / static_cast<double>(bpm) * static_cast<double>(sampleRate);
    // Written so that it also catches what is not a number.
    if (!(samplesPerBeat < 0x1p64))
        platform::fatalError("A beat of the song has no finite length");
    const std::uint64_t bar =
        checkedProduct(static_cast<std::uint64_t>(samplesPerBeat), beatsPerBar);
    return checkedProduct(checkedProduct(bar, barsPerPattern), patternCount);
}

double AudioSpec::duration() const {
    return 60.0 / static_cast<double>(bpm) * static_cast<double>(beatsPerBar) *
           static_cast<double>(barsPerPattern) * static_cast<double>(patternCount);
}

} // namespace starloom
