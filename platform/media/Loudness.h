// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// How loud a piece of stereo sound at 48000 Hz is: its peak, and its loudness as EBU R 128 measures
// it.
#pragma once

#include "platform/base/Result.h"

#include <cstdint>
#include <optional>
#include <span>

namespace platform {

struct Loudness {
    /// The loudest sample, in decibels of full scale; none for silence.
    std::optional<double> peak;
    /// Of the whole piece, in LUFS; none for what is silent or shorter than 0.4 s.
    std::optional<double> integrated;
    /// Samples beyond full scale, or not a number: these are cut off by whoever plays them.
    std::uint64_t clipped = 0;
    /// The first of them, counted from the beginning.
    std::uint64_t firstClipped = 0;
};

/// Both channels have the same length. The error is one line.
Result<Loudness> measureLoudness(std::span<const float> left, std::span<const float> right);

} // namespace platform
