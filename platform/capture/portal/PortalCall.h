// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Calls of the portal, as messages for the bus.
#pragma once

#include "platform/capture/portal/SessionBus.h"

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

namespace platform {

struct PortalOption {
    const char* name;
    std::variant<bool, std::uint32_t, std::string> value;
};

struct PortalArguments {
    std::string session;    ///< its path; empty for a call without
    bool hasParent = false; ///< whether a window of ours for the dialog is asked for; we name none
    std::vector<PortalOption> options;
};

/// Null when it cannot be made: a string is no text, or there is no memory.
MessagePtr makePortalCall(sd_bus* bus, const char* method, const PortalArguments& arguments);

/// Path of the object that will answer a call with this handle_token; the connection must be ready.
std::string requestPath(sd_bus* bus, const std::string& handleToken);

/// Has the portal close a session or take a dialog away. Does not wait for the answer.
void closePortalObject(sd_bus* bus, const std::string& path, const char* interface);

} // namespace platform
