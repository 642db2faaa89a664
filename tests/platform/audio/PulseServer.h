// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A sound server of the test's own, with two outputs that nobody hears and their monitors as
// microphones. "Stage" is the default; a sine of 3000 Hz sounds on "Tuner".
#pragma once

#include "tests/ScratchFolder.h"

#include <sys/types.h>

namespace tests {

/// Points the sound libraries of this process at itself, for good.
class PulseServer {
public:
    PulseServer();
    ~PulseServer() { kill(); }
    PulseServer(const PulseServer&) = delete;
    PulseServer& operator=(const PulseServer&) = delete;

    /// Ends the server as a crash would; start() brings another one up in its place.
    void kill();
    void start();
    /// Makes it stop answering, and answer again.
    void freeze();
    void thaw();

private:
    ScratchFolder m_folder;
    pid_t m_process = 0;
};

} // namespace tests
