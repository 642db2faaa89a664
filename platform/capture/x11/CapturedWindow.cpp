// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/capture/x11/CapturedWindow.h"

#include <xcb/composite.h>

#include <algorithm>
#include <limits>
#include <utility>

namespace platform::x11 {
namespace {

/// A picture of 256 MiB; larger ones are no use, and a window says anything.
constexpr std::uint64_t maximumPixels = std::uint64_t{8192} * 8192;
/// Window managers put two or three around a window.
constexpr int maximumAncestors = 16;

template <class T>
const T& as(const xcb_generic_event_t& event) {
    return reinterpret_cast<const T&>(event);
}

} // namespace

Result<std::unique_ptr<CapturedWindow>> CapturedWindow::create(const XDisplay& display,
                                                               std::uint64_t window) {
    if (window > std::numeric_limits<xcb_window_t>::max())
        return Error{"the window is gone"};
    xcb_connection_t* const x = display.connection();
    const auto id = static_cast<xcb_window_t>(window);
    const Reply<xcb_get_window_attributes_reply_t> attributes(
        xcb_get_window_attributes_reply(x, xcb_get_window_attributes(x, id), nullptr));
    if (!attributes)
        return Error{"the window is gone"};
    if (attributes->_class != XCB_WINDOW_CLASS_INPUT_OUTPUT || !display.isBgrx(attributes->visual))
        return Error{"the window does not have eight bits a colour"};
    std::unique_ptr<CapturedWindow> captured(new CapturedWindow(display, id));
    SL42_TRY_VOID(captured->redirect());
    return captured;
}

// A window that is redirected is always visible as a whole, and one that was not before is told so.
// That news comes before the answer to the request.
Result<void> CapturedWindow::redirect() {
    xcb_connection_t* const x = m_display.connection();
    const auto listen = [this, x](std::uint32_t events) {
        return m_display.succeeds(
            xcb_change_window_attributes_checked(x, m_window, XCB_CW_EVENT_MASK, &events));
    };
    if (!listen(XCB_EVENT_MASK_VISIBILITY_CHANGE))
        return Error{"the window is gone"};
    if (!m_display.succeeds(
            xcb_composite_redirect_window_checked(x, m_window, XCB_COMPOSITE_REDIRECT_AUTOMATIC)))
        return Error{"the X server does not let this window be captured"};
    while (const Event event{xcb_poll_for_queued_event(x)})
        m_wasCovered |= (event->response_type & 0x7f) == XCB_VISIBILITY_NOTIFY;
    m_damage = {x, m_display.newId()};
    m_damagedRegion = {x, m_display.newId()};
    xcb_damage_create(x, m_damage.id(), m_window, XCB_DAMAGE_REPORT_LEVEL_NON_EMPTY);
    xcb_xfixes_create_region(x, m_damagedRegion.id(), 0, nullptr);
    if (!listen(XCB_EVENT_MASK_STRUCTURE_NOTIFY))
        return Error{"the window is gone"};
    return {};
}

// Anybody can send such events, but the server marks the type of those, so they are none of these.
WindowNews CapturedWindow::newsIn(const xcb_generic_event_t& event) const {
    if (event.response_type == m_display.damageEvent())
        return WindowNews::Damaged;
    switch (event.response_type) {
    case XCB_DESTROY_NOTIFY:
        return as<xcb_destroy_notify_event_t>(event).window == m_window ? WindowNews::Closed
                                                                        : WindowNews::None;
    case XCB_CONFIGURE_NOTIFY: {
        const auto& configured = as<xcb_configure_notify_event_t>(event);
        const Size size{configured.width, configured.height, configured.border_width};
        return configured.window == m_window && size != m_size ? WindowNews::Replaced
                                                               : WindowNews::None;
    }
    case XCB_UNMAP_NOTIFY:
    case XCB_MAP_NOTIFY:
    case XCB_REPARENT_NOTIFY:
        return WindowNews::Replaced;
    default:
        return WindowNews::None;
    }
}

// Some window managers take only the frame away when they minimise. Being told of a window that is
// an ancestor no longer does no harm.
void CapturedWindow::watchAncestors() {
    xcb_connection_t* const x = m_display.connection();
    xcb_window_t window = m_window;
    for (int i = 0; i < maximumAncestors; ++i) {
        const Reply<xcb_query_tree_reply_t> tree(
            xcb_query_tree_reply(x, xcb_query_tree(x, window), nullptr));
        if (!tree || tree->parent == m_display.root() || tree->parent == XCB_WINDOW_NONE)
            return;
        window = tree->parent;
        const std::uint32_t events = XCB_EVENT_MASK_STRUCTURE_NOTIFY;
        xcb_change_window_attributes(x, window, XCB_CW_EVENT_MASK, &events);
    }
}

Result<void> CapturedWindow::namePixmap() {
    m_size = {};
    watchAncestors();
    xcb_connection_t* const x = m_display.connection();
    const xcb_pixmap_t id = m_display.newId();
    const auto naming = xcb_composite_name_window_pixmap_checked(x, m_window, id);
    const auto pixmapCookie = xcb_get_geometry(x, id);
    const auto windowCookie = xcb_get_geometry(x, m_window);
    const bool isNamed = m_display.succeeds(naming);
    Resource<xcb_free_pixmap> pixmap;
    if (isNamed)
        pixmap = {x, id};
    const Reply<xcb_get_geometry_reply_t> inside(xcb_get_geometry_reply(x, pixmapCookie, nullptr));
    const Reply<xcb_get_geometry_reply_t> outside(xcb_get_geometry_reply(x, windowCookie, nullptr));
    if (!isNamed || !inside || !outside)
        return Error{"the window is minimised, hidden or on another desktop"};
    const Size size{outside->width, outside->height, outside->border_width};
    if (inside->width != size.width + 2 * size.border ||
        inside->height != size.height + 2 * size.border)
        return Error{"the window is being resized"};
    if (std::uint64_t{size.width} * size.height > maximumPixels)
        return Error{"the window is too large to be captured"};
    SL42_TRY_VOID(m_image.resize(size.width, size.height));
    m_pixmap = std::move(pixmap);
    m_size = size;
    m_origin = size.border;
    m_isNew = true;
    return {};
}

/// The smallest rectangle of the picture that has everything drawn since the last time. Afterwards
/// the server reports again.
std::optional<Rectangle> CapturedWindow::takeDamage() {
    xcb_connection_t* const x = m_display.connection();
    xcb_damage_subtract(x, m_damage.id(), XCB_XFIXES_REGION_NONE, m_damagedRegion.id());
    const Reply<xcb_xfixes_fetch_region_reply_t> region(xcb_xfixes_fetch_region_reply(
        x, xcb_xfixes_fetch_region(x, m_damagedRegion.id()), nullptr));
    const auto width = static_cast<int>(m_image.width());
    const auto height = static_cast<int>(m_image.height());
    const bool takesAll = m_isNew || !region;
    const xcb_rectangle_t all = takesAll ? xcb_rectangle_t{0, 0, static_cast<std::uint16_t>(width),
                                                           static_cast<std::uint16_t>(height)}
                                         : region->extents;
    const int left = std::clamp<int>(all.x, 0, width);
    const int top = std::clamp<int>(all.y, 0, height);
    const int right = std::clamp<int>(all.x + all.width, left, width);
    const int bottom = std::clamp<int>(all.y + all.height, top, height);
    if (left == right || top == bottom)
        return std::nullopt;
    return Rectangle{static_cast<std::uint32_t>(left), static_cast<std::uint32_t>(top),
                     static_cast<std::uint32_t>(right - left),
                     static_cast<std::uint32_t>(bottom - top)};
}

// The damage is taken before the pixels, so that what is drawn in between is reported again.
Result<bool> CapturedWindow::read() {
    const auto part = takeDamage();
    if (!part)
        return false;
    if (!m_image.read(m_pixmap.id(), m_origin, *part))
        return Error{"the X server does not give the picture of the window"};
    m_isNew = false;
    return true;
}

} // namespace platform::x11
