// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/capture/portal/SessionBus.h"

#include "platform/capture/portal/PortalAnswer.h"

#include <string>

namespace platform {

Result<BusPtr> openSessionBus() {
    BusPtr bus = connectToSessionBus("window capture");
    if (!bus)
        return Error{"There is no session bus, by which a desktop shares windows."};
    return bus;
}

Result<PortalAbilities> readPortalAbilities(std::chrono::milliseconds patience) {
    const BusPtr bus = SL42_TRY(openSessionBus());
    sd_bus_set_method_call_timeout(bus.get(), microseconds(patience));
    sd_bus_error error{};
    sd_bus_message* answer = nullptr;
    const int result =
        sd_bus_call_method(bus.get(), portalService, portalPath, "org.freedesktop.DBus.Properties",
                           "GetAll", &error, &answer, "s", screenCastInterface);
    const MessagePtr owner(answer);
    const bool isBusThere = sd_bus_is_open(bus.get()) > 0;
    sd_bus_error_free(&error);
    if (!isBusThere)
        return Error{"The session bus, by which a desktop shares windows, does not answer."};
    PortalAbilities abilities;
    if (result < 0 || !readAbilities(answer, abilities))
        return Error{"This desktop has no portal that shares windows."};
    if (abilities.sourceTypes == 0)
        return Error{"This desktop's portal has no windows to share."};
    return abilities;
}

} // namespace platform
