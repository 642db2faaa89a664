// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What the mixer has mixed last, for those who record it: the songs as they are, whatever the
// volume in the room. One thread writes, the device's callback; one other reads. Neither waits.
#pragma once

#include <atomic>
#include <cstdint>
#include <span>
#include <vector>

namespace platform {

/// Samples by the mixer's time. The last second can be read.
class SoundTap {
public:
    /// In samples; more than a second, and a power of two.
    static constexpr std::int64_t capacity = std::int64_t{1} << 16;

    /// Keeps samples from now on, or does not. Takes memory once. Main thread.
    void setOpen(bool open);
    bool isOpen() const { return m_isOpen.load(std::memory_order_acquire); }

    /// A block that begins at `time`. Blocks come in their order; what is left out is silence.
    void write(std::int64_t time, std::span<const float> interleaved);
    /// The samples from `time` on; silence where they were not written, or too long ago.
    void read(std::int64_t time, std::span<float> left, std::span<float> right) const;

private:
    std::atomic<float>& at(std::int64_t time, std::int64_t channel) {
        return m_samples[static_cast<std::size_t>(2 * (time & (capacity - 1)) + channel)];
    }
    float valueAt(std::int64_t time, std::int64_t channel) const {
        return m_samples[static_cast<std::size_t>(2 * (time & (capacity - 1)) + channel)].load(
            std::memory_order_relaxed);
    }

    std::vector<std::atomic<float>> m_samples;
    std::atomic<bool> m_isOpen = false;
    std::atomic<std::int64_t> m_begin = 0; ///< of what was written since it was opened
    std::atomic<std::int64_t> m_end = 0;
    bool m_hasWritten = false; ///< since then; the writer's own
};

} // namespace platform
