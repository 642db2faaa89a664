// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A sound server of the test's own, with two outputs that nobody hears and their monitors as
// microphones. "Stage" is the default; a sine of 3000 Hz sounds on "Tuner".
#pragma once

#include "tests/Program.h"
#include "tests/ScratchFolder.h"

#include <csignal>
#include <memory>

namespace tests {

/// Points the sound libraries of this process at itself, for good.
class PulseServer {
public:
    PulseServer();

    /// Ends the server as a crash would; start() brings another one up in its place.
    void kill() { m_server.reset(); }
    void start();
    /// Plugs another microphone in, `whistle`, which hears a sine of 1000 Hz, and pulls it out.
    void plugIn();
    void pullOut();
    static constexpr const char* whistle = "Sine source at 1000 Hz";
    /// Makes it stop answering, and answer again.
    void freeze() { m_server->signal(SIGSTOP); }
    void thaw() { m_server->signal(SIGCONT); }

private:
    ScratchFolder m_folder;
    std::unique_ptr<Program> m_server;
};

} // namespace tests
