// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The picture of a window in memory of ours, brought up to date part by part. The server writes
// into it itself where it shares memory with us, else the pixels come through the connection.
#pragma once

#include "platform/base/SharedMemory.h"
#include "platform/capture/WindowCapture.h"
#include "platform/capture/x11/XDisplay.h"

#include <xcb/shm.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace platform::x11 {

struct Rectangle {
    std::uint32_t x = 0;
    std::uint32_t y = 0;
    std::uint32_t width = 0;
    std::uint32_t height = 0;
};

class WindowImage {
public:
    explicit WindowImage(const XDisplay& display);

    /// Afterwards it has this size, and shows anything. Keeps its memory where that does.
    Result<void> resize(std::uint32_t width, std::uint32_t height);
    /// Brings a part up to date. In the drawable the top left corner of the picture lies at
    /// (origin, origin). False when the server did not do it.
    [[nodiscard]] bool read(xcb_drawable_t drawable, std::uint32_t origin, Rectangle part);

    std::uint32_t width() const { return m_width; }
    std::uint32_t height() const { return m_height; }
    std::size_t bytesPerRow() const { return std::size_t{m_width} * 4; }
    std::span<const std::byte> pixels() const { return m_bytes.first(bytesPerRow() * m_height); }

private:
    Result<void> share(std::size_t size);
    bool readShared(xcb_drawable_t drawable, std::uint32_t origin, Rectangle part);
    bool readThroughConnection(xcb_drawable_t drawable, std::uint32_t origin, Rectangle part);
    void copyRows(const std::byte* packed, Rectangle part);

    const XDisplay& m_display;
    bool m_shares;
    /// The picture; when shared, followed by half as much room for parts on their way.
    std::span<std::byte> m_bytes;
    std::shared_ptr<SharedMemory> m_shared;
    Resource<xcb_shm_detach> m_segment;
    std::vector<std::byte> m_own; ///< instead of m_shared
    std::uint32_t m_width = 0;
    std::uint32_t m_height = 0;
};

} // namespace platform::x11
