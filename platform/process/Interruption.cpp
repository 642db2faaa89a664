// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/process/Interruption.h"

namespace platform {
namespace {

// A signal handler can reach nothing but a global.
volatile std::sig_atomic_t interrupted = 0;

void noteInterruption(int) {
    interrupted = 1;
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

} // namespace platform
