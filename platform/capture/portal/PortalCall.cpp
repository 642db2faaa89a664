// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/capture/portal/PortalCall.h"

#include <algorithm>

namespace platform {
namespace {

bool append(sd_bus_message* message, const char* name, bool value) {
    return sd_bus_message_append(message, "{sv}", name, "b", static_cast<int>(value)) >= 0;
}

bool append(sd_bus_message* message, const char* name, std::uint32_t value) {
    return sd_bus_message_append(message, "{sv}", name, "u", value) >= 0;
}

bool append(sd_bus_message* message, const char* name, const std::string& value) {
    return sd_bus_message_append(message, "{sv}", name, "s", value.c_str()) >= 0;
}

bool append(sd_bus_message* message, const std::vector<PortalOption>& options) {
    if (sd_bus_message_open_container(message, SD_BUS_TYPE_ARRAY, "{sv}") < 0)
        return false;
    for (const PortalOption& option : options) {
        const auto appendValue = [&](const auto& value) {
            return append(message, option.name, value);
        };
        if (!std::visit(appendValue, option.value))
            return false;
    }
    return sd_bus_message_close_container(message) >= 0;
}

} // namespace

MessagePtr makePortalCall(sd_bus* bus, const char* method, const PortalArguments& arguments) {
    sd_bus_message* message = nullptr;
    if (sd_bus_message_new_method_call(bus, &message, portalService, portalPath,
                                       screenCastInterface, method) < 0)
        return nullptr;
    MessagePtr call(message);
    if (!arguments.session.empty() &&
        sd_bus_message_append(message, "o", arguments.session.c_str()) < 0)
        return nullptr;
    if (arguments.hasParent && sd_bus_message_append(message, "s", "") < 0)
        return nullptr;
    return append(message, arguments.options) ? std::move(call) : nullptr;
}

std::string requestPath(sd_bus* bus, const std::string& handleToken) {
    const char* name = nullptr;
    if (sd_bus_get_unique_name(bus, &name) < 0)
        return {};
    std::string sender(name + 1); // after a colon
    std::ranges::replace(sender, '.', '_');
    return std::string(portalPath) + "/request/" + sender + "/" + handleToken;
}

void closePortalObject(sd_bus* bus, const std::string& path, const char* interface) {
    sd_bus_message* message = nullptr;
    if (sd_bus_message_new_method_call(bus, &message, portalService, path.c_str(), interface,
                                       "Close") < 0)
        return;
    const MessagePtr call(message);
    sd_bus_message_set_expect_reply(message, 0);
    sd_bus_send(bus, message, nullptr);
}

} // namespace platform
