// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The user's session bus, by which a desktop offers its services: connecting to it, and ownership
// of the objects of sd-bus.
#pragma once

#include <systemd/sd-bus.h>

#include <chrono>
#include <cstdint>
#include <memory>

namespace platform {

struct BusCloser {
    void operator()(sd_bus* bus) const { sd_bus_close_unref(bus); }
};
using BusPtr = std::unique_ptr<sd_bus, BusCloser>;

struct MessageCloser {
    void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
};
using MessagePtr = std::unique_ptr<sd_bus_message, MessageCloser>;

/// For one thread. Begins to connect; does not wait until it is done. Null where there is no such
/// bus. `description` is what the bus knows us by, for those who look into it.
BusPtr connectToSessionBus(const char* description);

/// For the library's timeouts.
inline std::uint64_t microseconds(std::chrono::milliseconds time) {
    return static_cast<std::uint64_t>(std::chrono::microseconds(time).count());
}

} // namespace platform
