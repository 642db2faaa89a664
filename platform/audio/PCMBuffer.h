// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Sound ready to be played: 48000 Hz, two channels, 32-bit floats, one plane per channel.
#pragma once

#include <cstdint>
#include <memory>
#include <span>

namespace platform {

/// Does not change once it is shared, so that players may read it on any thread.
class PCMBuffer {
public:
    static constexpr std::uint32_t channelCount = 2;

    /// Null when there is no memory for it. The samples are not initialised.
    static std::shared_ptr<PCMBuffer> create(std::uint32_t frameLength);

    std::uint32_t frameLength() const { return m_frameLength; }
    /// Channel 0 is left, 1 is right.
    std::span<float> channel(std::uint32_t index);
    std::span<const float> channel(std::uint32_t index) const;

private:
    PCMBuffer(std::unique_ptr<float[]> samples, std::uint32_t frameLength);

    std::unique_ptr<float[]> m_samples;
    std::uint32_t m_frameLength;
};

} // namespace platform
