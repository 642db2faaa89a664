// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Reads what the portal answers. It is another process: an answer may be of any shape.
#pragma once

#include "platform/capture/portal/SessionBus.h"

#include <cstdint>
#include <optional>
#include <string>

namespace platform {

/// All fields, whichever request is answered; those that the answer lacks are as they are here.
struct PortalAnswer {
    enum class Outcome : std::uint32_t { Granted = 0, Refused = 1, Failed = 2 };

    Outcome outcome = Outcome::Failed;
    std::string session;      ///< its path on the bus
    std::string restoreToken; ///< for the next time
    bool hasStream = false;   ///< the first one counts; only one is asked for
    std::uint32_t node = 0;   ///< of the stream, in PipeWire
    std::uint32_t sourceType = 0;
    std::int32_t widthInPoints = 0;
};

/// Reads the arguments of a Response signal. None when they are of another shape.
std::optional<PortalAnswer> readAnswer(sd_bus_message* message);

/// Reads the portal's properties. False when they are of another shape.
bool readAbilities(sd_bus_message* message, PortalAbilities& abilities);

} // namespace platform
