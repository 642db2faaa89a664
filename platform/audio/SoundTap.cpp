// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/audio/SoundTap.h"

#include <algorithm>
#include <cstddef>

namespace platform {

void SoundTap::setOpen(bool open) {
    if (open && m_samples.empty())
        m_samples = std::vector<std::atomic<float>>(2 * capacity);
    m_isOpen.store(open, std::memory_order_release);
}

void SoundTap::write(std::int64_t time, std::span<const float> interleaved) {
    if (!isOpen()) {
        m_hasWritten = false;
        return;
    }
    const std::int64_t end = m_end.load(std::memory_order_relaxed);
    const auto length = static_cast<std::int64_t>(interleaved.size() / 2);
    if (!m_hasWritten || time < end || time - end > capacity)
        m_begin.store(time, std::memory_order_release);
    else
        for (std::int64_t i = end; i < time; ++i)
            at(i, 0) = at(i, 1) = 0;
    m_hasWritten = true;
    for (std::int64_t i = 0; i < length; ++i) {
        at(time + i, 0)
            .store(interleaved[static_cast<std::size_t>(2 * i)], std::memory_order_relaxed);
        at(time + i, 1)
            .store(interleaved[static_cast<std::size_t>(2 * i + 1)], std::memory_order_relaxed);
    }
    m_end.store(time + length, std::memory_order_release);
}

// What a block overwrites meanwhile is far older than what is asked for in time.
void SoundTap::read(std::int64_t time, std::span<float> left, std::span<float> right) const {
    const std::int64_t end = m_end.load(std::memory_order_acquire);
    const std::int64_t begin =
        std::max(m_begin.load(std::memory_order_acquire), end - capacity * 3 / 4);
    for (std::size_t i = 0; i < left.size(); ++i) {
        const std::int64_t here = time + static_cast<std::int64_t>(i);
        const bool isThere = here >= begin && here < end;
        left[i] = isThere ? valueAt(here, 0) : 0;
        right[i] = isThere ? valueAt(here, 1) : 0;
    }
}

} // namespace platform
