// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Signals by which somebody asks a process for its end (hang-up, Ctrl+C, terminate), as something
// that an event loop can wait for, so that what is half done can be cleared away first.
#pragma once

#include "platform/base/FileDescriptor.h"

#include <chrono>
#include <csignal>

namespace platform {

/// While it exists, such a signal makes descriptor() readable instead of ending the process. One at
/// a time, on one thread.
class EndRequests {
public:
    /// `patience` after the first signal the process ends by it, whatever it hangs in.
    explicit EndRequests(std::chrono::seconds patience = std::chrono::seconds(5));
    ~EndRequests();
    EndRequests(const EndRequests&) = delete;
    EndRequests& operator=(const EndRequests&) = delete;

    int descriptor() const { return m_event.get(); }
    /// Ends the process by the signal that has come, without anything else being cleared away.
    [[noreturn]] void obey();

private:
    FileDescriptor m_event;
    struct sigaction m_oldHangUp{};
    struct sigaction m_oldInterrupt{};
    struct sigaction m_oldTerminate{};
    struct sigaction m_oldAlarm{};
};

} // namespace platform
