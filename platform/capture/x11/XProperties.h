// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Properties of windows. Many are asked for before the first answer is waited for, so that a list
// of windows takes few trips to the server.
#pragma once

#include "platform/capture/x11/XDisplay.h"
#include "platform/capture/x11/XText.h"

#include <xcb/xcb.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace platform::x11 {

/// The property without its type checked: who reads it has to.
class Property {
public:
    explicit Property(Reply<xcb_get_property_reply_t> reply) : m_reply(std::move(reply)) {}

    bool isThere() const { return m_reply && m_reply->type != XCB_ATOM_NONE; }
    xcb_atom_t type() const { return m_reply->type; }
    /// Empty when it is not made of bytes.
    std::string_view bytes() const;
    /// Empty when it is not made of numbers.
    std::span<const std::uint32_t> numbers() const;

private:
    Reply<xcb_get_property_reply_t> m_reply;
};

class PropertyQuestion {
public:
    /// Asks for no more of the property than `length` bytes, a multiple of four.
    PropertyQuestion(const XDisplay& display, xcb_window_t window, xcb_atom_t property,
                     std::uint32_t length = 2 * maximumTextLength);
    /// Once; it has to be called.
    Property answer() const;

private:
    const XDisplay& m_display;
    xcb_get_property_cookie_t m_cookie;
};

enum class AtomName {
    ClientList,
    ClientListStacking,
    SupportingCheck,
    Utf8String,
    WindowName,
    WindowProcess,
    WindowType,
    WindowTypeDesktop,
    WindowTypeDock,
    Count
};

/// The numbers of names in one server.
class Atoms {
public:
    explicit Atoms(const XDisplay& display);
    xcb_atom_t operator[](AtomName name) const { return m_atoms[static_cast<std::size_t>(name)]; }

private:
    std::array<xcb_atom_t, static_cast<std::size_t>(AtomName::Count)> m_atoms{};
};

/// The title of a window, from the property of the desktops or else the older one.
class TitleQuestion {
public:
    TitleQuestion(const XDisplay& display, const Atoms& atoms, xcb_window_t window);
    /// As of PropertyQuestion. Empty when the window does not say.
    std::string answer() const;

private:
    xcb_atom_t m_utf8;
    PropertyQuestion m_new;
    PropertyQuestion m_old;
};

} // namespace platform::x11
