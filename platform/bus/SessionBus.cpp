// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/bus/SessionBus.h"

namespace platform {

BusPtr connectToSessionBus(const char* description) {
    sd_bus* bus = nullptr;
    if (sd_bus_open_user_with_description(&bus, description) < 0)
        return nullptr;
    return BusPtr(bus);
}

} // namespace platform
