// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A kernel of this folder as a comparison of devices wants it: what it runs over, and where it
// leaves what is compared.
#pragma once

#include "platform/base/Result.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

namespace bench {

/// What the kernels of this folder find at index 1; at index 0 are memoryBytes.
struct Frame {
    float seconds;
    std::uint32_t number;
};

inline constexpr std::size_t memoryBytes = std::size_t{64} << 20;

/// The time repeats after a quarter of a second, sixteen frames, so that fewer frames are no other
/// ones.
inline Frame frameOf(std::uint32_t number) {
    return {.seconds = static_cast<float>(number % 16) / 60, .number = number};
}

struct BenchKernel {
    std::string name;
    std::string text;
    /// Of the grid: 960 x 540 for pictures, 768,000 for sound, else 4096, which work in memory.
    std::uint32_t width = 0;
    std::uint32_t height = 1;
    /// The newest frame, or what the threads wrote.
    std::size_t resultBegin = 0;
    std::size_t resultBytes = 0;

    static platform::Result<BenchKernel> read(const std::string& name);
    /// What memory begins as: for threads that work in it, the lower half, which they share, looks
    /// random; the upper half is theirs.
    void fill(std::span<std::byte> memory) const;
};

} // namespace bench
