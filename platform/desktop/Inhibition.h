// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The talk with the desktop about staying awake: who is asked, in which words, and how that is
// taken back. Neither waits for an answer; whoever owns the connection processes it.
#pragma once

#include "platform/bus/SessionBus.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

namespace platform {

/// One thread, that of the connection, which must outlive it.
class Inhibition {
public:
    Inhibition(sd_bus& bus, std::string program, std::string reason,
               std::chrono::milliseconds patience);

    /// Asks the portal; when that cannot, asks the screen saver.
    void ask();
    /// Takes back what has been granted.
    void release();

private:
    void askPortal();
    void askScreenSaver();
    void call(sd_bus_message* message, sd_bus_message_handler_t answered);
    static int portalAnswered(sd_bus_message* answer, void* self, sd_bus_error*);
    static int screenSaverAnswered(sd_bus_message* answer, void* self, sd_bus_error*);

    sd_bus& m_bus;
    const std::string m_program;
    const std::string m_reason;
    const std::chrono::milliseconds m_patience;
    std::string m_request;                 ///< the portal's, by its path; empty for none
    std::optional<std::uint32_t> m_cookie; ///< the screen saver's
};

} // namespace platform
