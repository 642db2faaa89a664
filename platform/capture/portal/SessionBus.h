// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The user's session bus, and the portal there that shares windows.
#pragma once

#include "platform/base/Result.h"
#include "platform/bus/SessionBus.h"

#include <chrono>
#include <cstdint>

namespace platform {

inline constexpr const char* portalService = "org.freedesktop.portal.Desktop";
inline constexpr const char* portalPath = "/org/freedesktop/portal/desktop";
inline constexpr const char* screenCastInterface = "org.freedesktop.portal.ScreenCast";

/// For one thread. Begins to connect; does not wait until it is done.
Result<BusPtr> openSessionBus();

struct PortalAbilities {
    std::uint32_t version = 0;
    std::uint32_t sourceTypes = 0; ///< flags of what can be shared
    std::uint32_t cursorModes = 0; ///< flags of what can be done with the mouse pointer
};

/// Asks the portal, which may be started for it, and waits for the answer.
Result<PortalAbilities> readPortalAbilities(std::chrono::milliseconds patience);

} // namespace platform
