// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/media/Loudness.h"

#include <ebur128.h>

#include <algorithm>
#include <array>
#include <cassert>
#include <cmath>
#include <memory>

namespace platform {
namespace {

constexpr unsigned long sampleRate = 48000;
constexpr const char* noMemory = "there is no memory to measure the loudness";

struct Release {
    void operator()(ebur128_state* state) const { ebur128_destroy(&state); }
};

void inspect(std::span<const float> left, std::span<const float> right, Loudness& loudness) {
    float peak = 0;
    for (std::size_t i = 0; i < left.size(); ++i) {
        // fmax() passes over what is not a number.
        peak = std::fmax(peak, std::fmax(std::abs(left[i]), std::abs(right[i])));
        if (std::abs(left[i]) <= 1 && std::abs(right[i]) <= 1)
            continue;
        if (loudness.clipped++ == 0)
            loudness.firstClipped = i;
    }
    if (peak > 0)
        loudness.peak = 20 * std::log10(peak);
}

} // namespace

Result<Loudness> measureLoudness(std::span<const float> left, std::span<const float> right) {
    assert(left.size() == right.size());
    Loudness loudness;
    inspect(left, right, loudness);
    const std::unique_ptr<ebur128_state, Release> state(
        ebur128_init(2, sampleRate, EBUR128_MODE_I));
    if (!state)
        return Error{noMemory};
    constexpr std::size_t blockLength = 4096;
    std::array<float, 2 * blockLength> block{};
    for (std::size_t at = 0; at < left.size(); at += blockLength) {
        const std::size_t count = std::min(blockLength, left.size() - at);
        for (std::size_t i = 0; i < count; ++i) {
            block[2 * i] = std::isfinite(left[at + i]) ? left[at + i] : 0;
            block[2 * i + 1] = std::isfinite(right[at + i]) ? right[at + i] : 0;
        }
        if (ebur128_add_frames_float(state.get(), block.data(), count) != EBUR128_SUCCESS)
            return Error{noMemory};
    }
    double integrated = 0;
    if (ebur128_loudness_global(state.get(), &integrated) == EBUR128_SUCCESS &&
        std::isfinite(integrated))
        loudness.integrated = integrated;
    return loudness;
}

} // namespace platform
