// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Ctrl+C during long work that has something to clear away.
#pragma once

#include <csignal>

namespace platform {

/// While it exists, the first Ctrl+C or request to terminate only sets a flag; a second one ends
/// the program as usual. One at a time.
class Interruption {
public:
    Interruption();
    ~Interruption();
    Interruption(const Interruption&) = delete;
    Interruption& operator=(const Interruption&) = delete;

    bool requested() const;
    /// Ends the program by the signal that was received.
    [[noreturn]] void endProgram() const;

private:
    struct sigaction m_oldInterrupt{};
    struct sigaction m_oldTerminate{};
};

} // namespace platform
