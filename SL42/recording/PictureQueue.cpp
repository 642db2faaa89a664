// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/recording/PictureQueue.h"

#include <algorithm>

namespace starloom {

PictureQueue::PictureQueue(std::size_t pixelCount) {
    for (Picture& picture : m_pictures)
        picture.pixels.resize(pixelCount);
}

bool PictureQueue::push(std::span<const std::uint32_t> pixels, std::int64_t time) {
    const std::size_t written = m_written.load(std::memory_order_relaxed);
    if (written - m_read.load(std::memory_order_acquire) == capacity)
        return false;
    Picture& picture = m_pictures[written % capacity];
    std::ranges::copy(pixels, picture.pixels.begin());
    picture.time = time;
    m_written.store(written + 1, std::memory_order_release);
    return true;
}

} // namespace starloom
