// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Pictures on their way from the thread that shows them to the one that records them. Neither waits
// for the other: what finds no room is not recorded.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace starloom {

/// One thread pushes, one other looks and pops.
class PictureQueue {
public:
    struct Picture {
        std::vector<std::uint32_t> pixels; ///< rows of 0xffRRGGBB
        std::int64_t time = 0;
    };

    /// Takes the memory at once, so that nobody waits for it later.
    explicit PictureQueue(std::size_t pixelCount);

    /// False when there is no room. Times do not decrease.
    bool push(std::span<const std::uint32_t> pixels, std::int64_t time);

    /// The oldest picture, the one after it, and the newest; null where there is none. They stay as
    /// they are until they are popped.
    const Picture* front() const { return at(0); }
    const Picture* next() const { return at(1); }
    const Picture* newest() const {
        const std::size_t written = m_written.load(std::memory_order_acquire);
        return written > m_read.load(std::memory_order_relaxed)
                   ? &m_pictures[(written - 1) % capacity]
                   : nullptr;
    }
    void pop() { m_read.fetch_add(1, std::memory_order_release); }

private:
    static constexpr std::size_t capacity = 8;

    const Picture* at(std::size_t index) const {
        const std::size_t read = m_read.load(std::memory_order_relaxed);
        return read + index < m_written.load(std::memory_order_acquire)
                   ? &m_pictures[(read + index) % capacity]
                   : nullptr;
    }

    std::array<Picture, capacity> m_pictures;
    std::atomic<std::size_t> m_written = 0;
    std::atomic<std::size_t> m_read = 0;
};

} // namespace starloom
