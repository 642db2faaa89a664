// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/process/Interruption.h"

#include <cstdlib>

namespace platform {
namespace {

// A signal handler can reach nothing but a global.
volatile std::sig_atomic_t interrupted = 0;

void noteInterruption(int signal) {
    interrupted = signal;
}

} // namespace

Interruption::Interruption() {
    interrupted = 0;
    struct sigaction action{};
    action.sa_handler = noteInterruption;
    action.sa_flags = static_cast<int>(SA_RESETHAND) | SA_RESTART;
    ::sigaction(SIGINT, &action, &m_oldInterrupt);
    ::sigaction(SIGTERM, &action, &m_oldTerminate);
}

Interruption::~Interruption() {
    ::sigaction(SIGINT, &m_oldInterrupt, nullptr);
    ::sigaction(SIGTERM, &m_oldTerminate, nullptr);
}

bool Interruption::requested() const {
    return interrupted != 0;
}

void Interruption::endProgram() const {
    const int signal = interrupted;
    std::signal(signal, SIG_DFL);
    std::raise(signal);
    std::_Exit(128 + signal); // where it is blocked
}

} // namespace platform
