// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The user's session bus, and the portal there that shares windows.
#pragma once

#include "platform/base/Result.h"

#include <systemd/sd-bus.h>

#include <chrono>
#include <cstdint>
#include <memory>

namespace platform {

inline constexpr const char* portalService = "org.freedesktop.portal.Desktop";
inline constexpr const char* portalPath = "/org/freedesktop/portal/desktop";
inline constexpr const char* screenCastInterface = "org.freedesktop.portal.ScreenCast";

struct BusCloser {
    void operator()(sd_bus* bus) const { sd_bus_close_unref(bus); }
};
using BusPtr = std::unique_ptr<sd_bus, BusCloser>;

struct MessageCloser {
    void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
};
using MessagePtr = std::unique_ptr<sd_bus_message, MessageCloser>;

/// For one thread. Begins to connect; does not wait until it is done.
Result<BusPtr> openSessionBus();

/// For the library's timeouts.
inline std::uint64_t microseconds(std::chrono::milliseconds time) {
    return static_cast<std::uint64_t>(std::chrono::microseconds(time).count());
}

struct PortalAbilities {
    std::uint32_t version = 0;
    std::uint32_t sourceTypes = 0; ///< flags of what can be shared
    std::uint32_t cursorModes = 0; ///< flags of what can be done with the mouse pointer
};

/// Asks the portal, which may be started for it, and waits for the answer.
Result<PortalAbilities> readPortalAbilities(std::chrono::milliseconds patience);

} // namespace platform
