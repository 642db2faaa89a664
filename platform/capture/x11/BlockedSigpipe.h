// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// XCB writes to its socket such that a server which is gone raises SIGPIPE, which would end the
// program.
#pragma once

#include <csignal>

namespace platform::x11 {

/// Keeps SIGPIPE from the thread during its life, and forgets one that came meanwhile.
class BlockedSigpipe {
public:
    BlockedSigpipe() {
        ::sigemptyset(&m_pipe);
        ::sigaddset(&m_pipe, SIGPIPE);
        ::pthread_sigmask(SIG_BLOCK, &m_pipe, &m_before);
    }
    ~BlockedSigpipe() {
        if (::sigismember(&m_before, SIGPIPE) == 0) {
            const timespec noTime{};
            ::sigtimedwait(&m_pipe, nullptr, &noTime);
        }
        ::pthread_sigmask(SIG_SETMASK, &m_before, nullptr);
    }
    BlockedSigpipe(const BlockedSigpipe&) = delete;
    BlockedSigpipe& operator=(const BlockedSigpipe&) = delete;

private:
    sigset_t m_pipe{};
    sigset_t m_before{};
};

} // namespace platform::x11
