// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/capture/x11/XProperties.h"

namespace platform::x11 {

std::string_view Property::bytes() const {
    if (!isThere() || m_reply->format != 8)
        return {};
    return {static_cast<const char*>(xcb_get_property_value(m_reply.get())),
            static_cast<std::size_t>(xcb_get_property_value_length(m_reply.get()))};
}

std::span<const std::uint32_t> Property::numbers() const {
    if (!isThere() || m_reply->format != 32)
        return {};
    return {static_cast<const std::uint32_t*>(xcb_get_property_value(m_reply.get())),
            static_cast<std::size_t>(xcb_get_property_value_length(m_reply.get())) /
                sizeof(std::uint32_t)};
}

PropertyQuestion::PropertyQuestion(const XDisplay& display, xcb_window_t window,
                                   xcb_atom_t property, std::uint32_t length)
    : m_display(display),
      m_cookie(xcb_get_property(display.connection(), 0, window, property,
                                XCB_GET_PROPERTY_TYPE_ANY, 0, length / 4)) {}

Property PropertyQuestion::answer() const {
    return Property(Reply<xcb_get_property_reply_t>(
        xcb_get_property_reply(m_display.connection(), m_cookie, nullptr)));
}

Atoms::Atoms(const XDisplay& display) {
    static constexpr std::array<std::string_view, static_cast<std::size_t>(AtomName::Count)> names{
        "_NET_CLIENT_LIST",
        "_NET_CLIENT_LIST_STACKING",
        "_NET_SUPPORTING_WM_CHECK",
        "UTF8_STRING",
        "_NET_WM_NAME",
        "_NET_WM_PID",
        "_NET_WM_WINDOW_TYPE",
        "_NET_WM_WINDOW_TYPE_DESKTOP",
        "_NET_WM_WINDOW_TYPE_DOCK"};
    std::array<xcb_intern_atom_cookie_t, names.size()> cookies{};
    for (std::size_t i = 0; i < names.size(); ++i)
        cookies[i] = xcb_intern_atom(display.connection(), 0,
                                     static_cast<std::uint16_t>(names[i].size()), names[i].data());
    for (std::size_t i = 0; i < names.size(); ++i) {
        const Reply<xcb_intern_atom_reply_t> reply(
            xcb_intern_atom_reply(display.connection(), cookies[i], nullptr));
        m_atoms[i] = reply ? reply->atom : XCB_ATOM_NONE;
    }
}

TitleQuestion::TitleQuestion(const XDisplay& display, const Atoms& atoms, xcb_window_t window)
    : m_utf8(atoms[AtomName::Utf8String]),
      m_new(display, window, atoms[AtomName::WindowName]),
      m_old(display, window, XCB_ATOM_WM_NAME) {}

std::string TitleQuestion::answer() const {
    const Property fresh = m_new.answer();
    const Property old = m_old.answer();
    std::string title = textOf(fresh.bytes(), Encoding::Utf8);
    if (title.empty() && old.isThere())
        title = textOf(old.bytes(), old.type() == m_utf8 ? Encoding::Utf8 : Encoding::Latin1);
    return title;
}

} // namespace platform::x11
