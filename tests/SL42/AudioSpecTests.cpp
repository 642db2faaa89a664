// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/hardware/AudioSpec.h"

#include <gtest/gtest.h>

#include <limits>

using starloom::AudioSpec;

TEST(AudioSpec, CountsTheSamplesOfASong) {
    const std::pair<AudioSpec, std::uint64_t> cases[] = {
        {{}, 768'000},
        {{120, 4, 8, 4}, 3'072'000},
        {{90, 3, 8, 2}, 1'536'000},
        {{7, 1, 1, 1}, 411'428},    // a beat is cut to whole samples ...
        {{7, 4, 8, 3}, 39'497'088}, // ... before it is multiplied
        {{2'880'001, 4, 4, 4}, 0},  // less than a sample per beat
        {{1, 1, 1, 0}, 0},
        {{48000 * 60, std::numeric_limits<std::uint64_t>::max(), 1, 1},
         std::numeric_limits<std::uint64_t>::max()},
    };
    for (const auto& [spec, count] : cases)
        EXPECT_EQ(spec.sampleCount(48000), count) << spec.bpm << " bpm";
    EXPECT_DOUBLE_EQ((AudioSpec{90, 3, 8, 2}.duration()), 32.0);
}
