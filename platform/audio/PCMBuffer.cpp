// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/audio/PCMBuffer.h"

#include <cassert>
#include <cstddef>
#include <new>
#include <utility>

namespace platform {

std::shared_ptr<PCMBuffer> PCMBuffer::create(std::uint32_t frameLength) {
    const std::size_t count = std::size_t{frameLength} * channelCount;
    std::unique_ptr<float[]> samples(new (std::nothrow) float[count]);
    if (!samples)
        return nullptr;
    return std::shared_ptr<PCMBuffer>(new PCMBuffer(std::move(samples), frameLength));
}

PCMBuffer::PCMBuffer(std::unique_ptr<float[]> samples, std::uint32_t frameLength)
    : m_samples(std::move(samples)), m_frameLength(frameLength) {}

std::span<float> PCMBuffer::channel(std::uint32_t index) {
    assert(index < channelCount);
    return {m_samples.get() + std::size_t{index} * m_frameLength, m_frameLength};
}

std::span<const float> PCMBuffer::channel(std::uint32_t index) const {
    assert(index < channelCount);
    return {m_samples.get() + std::size_t{index} * m_frameLength, m_frameLength};
}

} // namespace platform
