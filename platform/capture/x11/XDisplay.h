// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A connection to an X server with the extensions that capturing needs, and owners for what XCB
// hands out.
#pragma once

#include "platform/base/Result.h"

#include <xcb/xcb.h>

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <utility>

namespace platform::x11 {

struct Release {
    void operator()(xcb_connection_t* connection) const { xcb_disconnect(connection); }
    void operator()(void* reply) const { std::free(reply); }
};
template <class T>
using Reply = std::unique_ptr<T, Release>;
using Event = Reply<xcb_generic_event_t>;

/// Something in the server that `release` takes back, for instance a pixmap. The connection has to
/// outlive it.
template <auto release>
class Resource {
public:
    Resource() = default;
    Resource(xcb_connection_t* connection, std::uint32_t id) : m_connection(connection), m_id(id) {}
    Resource(Resource&& other) noexcept { swap(other); }
    Resource& operator=(Resource&& other) noexcept {
        swap(other);
        return *this;
    }
    ~Resource() {
        if (m_id != 0)
            release(m_connection, m_id);
    }

    explicit operator bool() const { return m_id != 0; }
    std::uint32_t id() const { return m_id; }

private:
    void swap(Resource& other) noexcept {
        std::swap(m_connection, other.m_connection);
        std::swap(m_id, other.m_id);
    }

    xcb_connection_t* m_connection = nullptr;
    std::uint32_t m_id = 0;
};

/// For one thread, but for the socket. Writing to a server that is gone raises SIGPIPE: the thread
/// has to have it blocked (BlockedSigpipe).
class XDisplay {
public:
    /// An empty name stands for the display that the environment names.
    static Result<XDisplay> connect(const std::string& name);

    xcb_connection_t* connection() const { return m_connection.get(); }
    xcb_window_t root() const { return m_screen->root; }
    int socket() const { return xcb_get_file_descriptor(connection()); }
    /// Whether the server is gone; nothing is answered any more.
    bool isLost() const { return xcb_connection_has_error(connection()) != 0; }
    /// The number that the server gave to events of the Damage extension.
    std::uint8_t damageEvent() const { return m_damageEvent; }
    /// Whether memory can be given to the server by passing its descriptor.
    bool passesMemory() const { return m_passesMemory; }
    /// Whether pixels of this visual are four bytes: blue, green, red and one more.
    bool isBgrx(xcb_visualid_t visual) const;

    std::uint32_t newId() const { return xcb_generate_id(connection()); }
    /// The next event that is there, without waiting.
    Event nextEvent() const { return Event(xcb_poll_for_event(connection())); }
    /// Waits until a checked request is done. Whether it succeeded.
    bool succeeds(xcb_void_cookie_t request) const;

private:
    XDisplay(Reply<xcb_connection_t> connection, xcb_screen_t* screen)
        : m_connection(std::move(connection)), m_screen(screen) {}
    Result<void> startExtensions();

    Reply<xcb_connection_t> m_connection;
    xcb_screen_t* m_screen; ///< lies in the connection
    std::uint8_t m_damageEvent = 0;
    bool m_passesMemory = false;
};

} // namespace platform::x11
