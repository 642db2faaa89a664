// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Reads sound and movie files back as a player would.
#pragma once

#include "platform/base/Result.h"

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace platform::tests {

struct DecodedSound {
    std::string codec;
    int sampleRate = 0;
    int channelCount = 0;
    std::int64_t bitRate = 0;
    /// What the container says, in samples.
    std::int64_t duration = 0;
    /// What comes out of the decoder, without what the container says is to be skipped.
    std::array<std::vector<float>, 2> channels;
};

struct DecodedFrame {
    double time = 0; ///< seconds
    /// 0xffRRGGBB by the matrix and range that the file names.
    std::vector<std::uint32_t> pixels;
};

struct DecodedVideo {
    std::string codec;
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    double duration = 0; ///< seconds
    std::string colours; ///< "primaries/transfer/matrix/range"
    std::vector<DecodedFrame> frames;
};

/// Errors when the file has no such track.
Result<DecodedSound> readSound(const std::string& path);
Result<DecodedVideo> readVideo(const std::string& path);

/// Amplitude of the part of 48000 samples a second that has this frequency.
double levelAt(double frequency, std::span<const float> samples);

} // namespace platform::tests
