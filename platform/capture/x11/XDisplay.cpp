// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/capture/x11/XDisplay.h"

#include <sys/socket.h>
#include <xcb/composite.h>
#include <xcb/damage.h>
#include <xcb/shm.h>
#include <xcb/xfixes.h>

#include <cstddef>

namespace platform::x11 {
namespace {

/// Descriptors go through such sockets only; XCB gives up a connection that cannot pass one.
bool isLocalSocket(int socket) {
    sockaddr_storage address{};
    socklen_t length = sizeof address;
    return ::getsockname(socket, reinterpret_cast<sockaddr*>(&address), &length) == 0 &&
           address.ss_family == AF_UNIX;
}

bool hasFourBytePixels(const xcb_setup_t& setup, std::uint8_t depth) {
    for (auto format = xcb_setup_pixmap_formats_iterator(&setup); format.rem != 0;
         xcb_format_next(&format)) {
        if (format.data->depth == depth)
            return format.data->bits_per_pixel == 32 && format.data->scanline_pad == 32;
    }
    return false;
}

} // namespace

Result<XDisplay> XDisplay::connect(const std::string& name) {
    int preferred = 0;
    Reply<xcb_connection_t> connection(
        xcb_connect(name.empty() ? nullptr : name.c_str(), &preferred));
    if (xcb_connection_has_error(connection.get()) != 0)
        return Error{"the X server cannot be reached"};
    auto screens = xcb_setup_roots_iterator(xcb_get_setup(connection.get()));
    for (; preferred > 0 && screens.rem > 1; --preferred)
        xcb_screen_next(&screens);
    XDisplay display(std::move(connection), screens.data);
    SL42_TRY_VOID(display.startExtensions());
    return display;
}

// A server serves Composite, Damage and XFixes only to a client that has asked for the version.
Result<void> XDisplay::startExtensions() {
    xcb_connection_t* const x = connection();
    for (xcb_extension_t* extension :
         {&xcb_composite_id, &xcb_damage_id, &xcb_xfixes_id, &xcb_shm_id})
        xcb_prefetch_extension_data(x, extension);
    const auto has = [x](xcb_extension_t& extension) {
        const auto* data = xcb_get_extension_data(x, &extension);
        return data != nullptr && data->present != 0;
    };
    if (!has(xcb_composite_id) || !has(xcb_damage_id) || !has(xcb_xfixes_id) || !has(xcb_shm_id))
        return Error{"the X server does not let windows be captured"};
    m_damageEvent = xcb_get_extension_data(x, &xcb_damage_id)->first_event;

    const auto compositeCookie = xcb_composite_query_version(x, 0, 4);
    const auto damageCookie = xcb_damage_query_version(x, 1, 1);
    const auto fixesCookie = xcb_xfixes_query_version(x, 2, 0);
    const auto memoryCookie = xcb_shm_query_version(x);
    const Reply<xcb_composite_query_version_reply_t> composite(
        xcb_composite_query_version_reply(x, compositeCookie, nullptr));
    const Reply<xcb_damage_query_version_reply_t> damage(
        xcb_damage_query_version_reply(x, damageCookie, nullptr));
    const Reply<xcb_xfixes_query_version_reply_t> fixes(
        xcb_xfixes_query_version_reply(x, fixesCookie, nullptr));
    const Reply<xcb_shm_query_version_reply_t> memory(
        xcb_shm_query_version_reply(x, memoryCookie, nullptr));
    // Composite 0.2 has named pixmaps, XFixes 2 has regions.
    const bool isNewEnough = composite && damage && fixes && memory &&
                             std::pair(composite->major_version, composite->minor_version) >=
                                 std::pair(std::uint32_t{0}, std::uint32_t{2}) &&
                             damage->major_version >= 1 && fixes->major_version >= 2;
    if (!isNewEnough)
        return Error{"the X server is too old to let windows be captured"};
    m_passesMemory =
        isLocalSocket(socket()) && std::pair(memory->major_version, memory->minor_version) >=
                                       std::pair(std::uint16_t{1}, std::uint16_t{2});
    return {};
}

bool XDisplay::isBgrx(xcb_visualid_t visual) const {
    const xcb_setup_t& setup = *xcb_get_setup(connection());
    if (setup.image_byte_order != XCB_IMAGE_ORDER_LSB_FIRST)
        return false;
    for (auto depths = xcb_screen_allowed_depths_iterator(m_screen); depths.rem != 0;
         xcb_depth_next(&depths)) {
        for (auto visuals = xcb_depth_visuals_iterator(depths.data); visuals.rem != 0;
             xcb_visualtype_next(&visuals)) {
            const xcb_visualtype_t& type = *visuals.data;
            if (type.visual_id == visual)
                return type.red_mask == 0xff0000 && type.green_mask == 0xff00 &&
                       type.blue_mask == 0xff && hasFourBytePixels(setup, depths.data->depth);
        }
    }
    return false;
}

bool XDisplay::succeeds(xcb_void_cookie_t request) const {
    const Reply<xcb_generic_error_t> error(xcb_request_check(connection(), request));
    return !error && !isLost();
}

} // namespace platform::x11
