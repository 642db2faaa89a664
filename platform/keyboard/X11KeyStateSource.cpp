// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/keyboard/X11KeyStateSource.h"

#include "platform/keyboard/XkbLayout.h"

#include <xcb/xcb.h>
// This header has fields named with a keyword of C++.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wkeyword-macro"
#define explicit explicitModifiers
#include <xcb/xkb.h>
#undef explicit
#pragma GCC diagnostic pop
#include <xkbcommon/xkbcommon-x11.h>

#include <cstdlib>
#include <utility>
#include <vector>

namespace platform {
namespace {

struct Release {
    void operator()(xcb_connection_t* connection) const { xcb_disconnect(connection); }
    void operator()(xkb_context* context) const { xkb_context_unref(context); }
    void operator()(void* reply) const { std::free(reply); }
};
using Connection = std::unique_ptr<xcb_connection_t, Release>;
using Context = std::unique_ptr<xkb_context, Release>;
template <class T>
using Reply = std::unique_ptr<T, Release>;

class X11KeyStateSource final : public KeyStateSource {
public:
    X11KeyStateSource(Connection connection, Context context, std::uint8_t xkbEvent)
        : m_connection(std::move(connection)),
          m_context(std::move(context)),
          m_xkbEvent(xkbEvent) {}

    /// Reads the layout for the first time and asks to be told of changes.
    Result<void> start();
    std::span<const Key> heldKeys() override;

private:
    void followLayout();

    Connection m_connection;
    Context m_context;
    /// The number that the server gave to events of the extension.
    std::uint8_t m_xkbEvent;
    std::uint32_t m_group = 0;
    XkbLayout m_layout{};
    std::vector<Key> m_keys;
};

Result<void> X11KeyStateSource::start() {
    constexpr std::uint16_t whole =
        XCB_XKB_EVENT_TYPE_NEW_KEYBOARD_NOTIFY | XCB_XKB_EVENT_TYPE_MAP_NOTIFY;
    constexpr std::uint16_t everyPart = 0xff;
    xcb_xkb_select_events_details_t details{};
    details.affectState = details.stateDetails = XCB_XKB_STATE_PART_GROUP_STATE;
    xcb_connection_t* connection = m_connection.get();
    xcb_xkb_select_events_aux(connection, XCB_XKB_ID_USE_CORE_KBD,
                              whole | XCB_XKB_EVENT_TYPE_STATE_NOTIFY, 0, whole, everyPart,
                              everyPart, &details);
    const Reply<xcb_xkb_get_state_reply_t> state(xcb_xkb_get_state_reply(
        connection, xcb_xkb_get_state(connection, XCB_XKB_ID_USE_CORE_KBD), nullptr));
    if (!state)
        return Error{"the X server does not tell the state of its keyboard"};
    m_group = state->group;
    m_layout = SL42_TRY(readXkbLayout(*m_context, *m_connection, m_group));
    return {};
}

// Events that are here already are enough: those of a change come before the answer to a question
// that was asked after it.
void X11KeyStateSource::followLayout() {
    bool changed = false;
    while (const Reply<xcb_generic_event_t> event{xcb_poll_for_queued_event(m_connection.get())}) {
        if ((event->response_type & 0x7f) != m_xkbEvent)
            continue;
        // All events of the extension share one number; the byte after it tells them apart.
        if (event->pad0 == XCB_XKB_STATE_NOTIFY) {
            const auto group =
                reinterpret_cast<const xcb_xkb_state_notify_event_t*>(event.get())->group;
            changed |= std::exchange(m_group, group) != group;
        } else {
            changed = true;
        }
    }
    if (!changed)
        return;
    if (auto layout = readXkbLayout(*m_context, *m_connection, m_group))
        m_layout = *layout; // otherwise the old one has to do
}

std::span<const Key> X11KeyStateSource::heldKeys() {
    m_keys.clear();
    xcb_connection_t* connection = m_connection.get();
    const Reply<xcb_query_keymap_reply_t> reply(
        xcb_query_keymap_reply(connection, xcb_query_keymap(connection), nullptr));
    if (!reply)
        return m_keys;
    followLayout();
    for (std::size_t code = 0; code < m_layout.size(); ++code) {
        if ((reply->keys[code / 8] >> (code % 8) & 1) != 0)
            m_keys.push_back(m_layout[code]);
    }
    return m_keys;
}

} // namespace

Result<std::shared_ptr<KeyStateSource>> connectX11KeyStateSource(const std::string& display) {
    Connection connection(xcb_connect(display.empty() ? nullptr : display.c_str(), nullptr));
    if (xcb_connection_has_error(connection.get()) != 0)
        return Error{"the X server cannot be reached"};
    std::uint8_t xkbEvent = 0;
    if (xkb_x11_setup_xkb_extension(
            connection.get(), XKB_X11_MIN_MAJOR_XKB_VERSION, XKB_X11_MIN_MINOR_XKB_VERSION,
            XKB_X11_SETUP_XKB_EXTENSION_NO_FLAGS, nullptr, nullptr, &xkbEvent, nullptr) == 0)
        return Error{"the X server has no keyboard extension"};
    Context context(xkb_context_new(XKB_CONTEXT_NO_FLAGS));
    if (!context)
        return Error{"keyboard layouts cannot be read"};
    auto source =
        std::make_shared<X11KeyStateSource>(std::move(connection), std::move(context), xkbEvent);
    SL42_TRY_VOID(source->start());
    return std::shared_ptr<KeyStateSource>(std::move(source));
}

} // namespace platform
