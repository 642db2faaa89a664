// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// An X server of the test's own, without a screen that anybody sees.
#pragma once

#include "tests/Program.h"

#include <memory>

namespace starloom {

/// Runs on a free display from construction to destruction. Throws when it cannot be started.
class XServer {
public:
    /// `arguments` come after its own.
    explicit XServer(const std::vector<std::string>& arguments = {});
    ~XServer();

    /// Its name, as in the environment variable DISPLAY.
    const std::string& display() const { return m_display; }
    /// Runs a program of the path on this display, waits for it, and returns its exit status.
    int run(std::vector<std::string> command, const tests::Streams& streams = {}) const;

private:
    std::unique_ptr<tests::Program> m_server;
    std::string m_display;
};

} // namespace starloom
