// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/capture/x11/WindowImage.h"

#include "platform/base/FileDescriptor.h"

#include <fcntl.h>

#include <bit>
#include <cstring>

namespace platform::x11 {

static constexpr std::uint32_t everyPlane = ~std::uint32_t{0};

WindowImage::WindowImage(const XDisplay& display)
    : m_display(display), m_shares(display.passesMemory()) {}

// While a window is drawn larger, each size would need memory anew. Shared pages that nobody
// touches take none, so there is room in advance.
Result<void> WindowImage::resize(std::uint32_t width, std::uint32_t height) {
    const std::size_t size = std::size_t{width} * height * 4;
    m_width = m_height = 0; // as long as there may be no memory
    if (m_shares) {
        const std::size_t capacity = std::bit_ceil(size + size / 2);
        if (capacity > m_bytes.size() || capacity < m_bytes.size() / 4)
            SL42_TRY_VOID(share(capacity));
    }
    if (!m_shares) {
        m_own.resize(size);
        m_bytes = m_own;
    }
    m_width = width;
    m_height = height;
    return {};
}

/// A server that refuses the memory is one in another container, for instance: then it is not
/// asked again.
Result<void> WindowImage::share(std::size_t size) {
    m_bytes = {};
    m_segment = {};
    m_shared = SL42_TRY(SharedMemory::create(size, "captured-window"));
    const auto bytes = m_shared->bytes();
    const int given = ::fcntl(m_shared->descriptor(), F_DUPFD_CLOEXEC, 0); // XCB closes it
    if (bytes.empty() || given < 0)
        return Error{"there is no memory for a picture of the window"};
    const std::uint32_t segment = m_display.newId();
    m_shares =
        m_display.succeeds(xcb_shm_attach_fd_checked(m_display.connection(), segment, given, 0));
    if (m_shares) {
        m_segment = {m_display.connection(), segment};
        m_bytes = bytes;
    } else {
        m_shared.reset();
    }
    return {};
}

bool WindowImage::read(xcb_drawable_t drawable, std::uint32_t origin, Rectangle part) {
    return (m_shares && readShared(drawable, origin, part)) ||
           readThroughConnection(drawable, origin, part);
}

// The server writes rows without anything between them. Those as wide as the picture can go where
// they belong; narrower ones lie in the room after the picture first, which is large enough for
// anything up to half the width.
bool WindowImage::readShared(xcb_drawable_t drawable, std::uint32_t origin, Rectangle part) {
    const bool isWide = part.width > m_width / 2;
    if (isWide) {
        part.x = 0;
        part.width = m_width;
    }
    const std::size_t place = isWide ? part.y * bytesPerRow() : pixels().size();
    xcb_connection_t* const x = m_display.connection();
    const Reply<xcb_shm_get_image_reply_t> reply(xcb_shm_get_image_reply(
        x,
        xcb_shm_get_image(
            x, drawable, static_cast<std::int16_t>(origin + part.x),
            static_cast<std::int16_t>(origin + part.y), static_cast<std::uint16_t>(part.width),
            static_cast<std::uint16_t>(part.height), everyPlane, XCB_IMAGE_FORMAT_Z_PIXMAP,
            m_segment.id(), static_cast<std::uint32_t>(place)),
        nullptr));
    if (!reply)
        return false;
    if (!isWide)
        copyRows(m_bytes.subspan(place).data(), part);
    return true;
}

bool WindowImage::readThroughConnection(xcb_drawable_t drawable, std::uint32_t origin,
                                        Rectangle part) {
    xcb_connection_t* const x = m_display.connection();
    const Reply<xcb_get_image_reply_t> reply(xcb_get_image_reply(
        x,
        xcb_get_image(
            x, XCB_IMAGE_FORMAT_Z_PIXMAP, drawable, static_cast<std::int16_t>(origin + part.x),
            static_cast<std::int16_t>(origin + part.y), static_cast<std::uint16_t>(part.width),
            static_cast<std::uint16_t>(part.height), everyPlane),
        nullptr));
    const std::size_t size = std::size_t{part.width} * part.height * 4;
    if (!reply || std::size_t{reply->length} * 4 < size)
        return false;
    copyRows(reinterpret_cast<const std::byte*>(xcb_get_image_data(reply.get())), part);
    return true;
}

void WindowImage::copyRows(const std::byte* packed, Rectangle part) {
    const std::size_t length = std::size_t{part.width} * 4;
    std::byte* to = m_bytes.data() + part.y * bytesPerRow() + std::size_t{part.x} * 4;
    for (std::uint32_t row = 0; row < part.height; ++row) {
        std::memcpy(to, packed, length);
        to += bytesPerRow();
        packed += length;
    }
}

} // namespace platform::x11
