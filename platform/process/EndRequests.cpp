// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/process/EndRequests.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

namespace platform {
namespace {

// Signal handlers can reach nothing but globals.
volatile std::sig_atomic_t requested = 0;
volatile std::sig_atomic_t event = -1;
volatile std::sig_atomic_t secondsLeft = 0;

// A terminal's signal comes twice: from the terminal and from the process that supervises this one.
void noteRequest(int signal) {
    const int before = errno;
    if (requested == 0) {
        requested = signal;
        ::alarm(static_cast<unsigned>(secondsLeft));
        ::eventfd_write(event, 1);
    }
    errno = before;
}

void endByRequest(int) {
    ::signal(requested, SIG_DFL);
    ::raise(requested);
}

} // namespace

EndRequests::EndRequests(std::chrono::seconds patience) : m_event(::eventfd(0, EFD_CLOEXEC)) {
    requested = 0;
    secondsLeft = static_cast<std::sig_atomic_t>(patience.count());
    event = m_event.get();
    struct sigaction action{};
    action.sa_flags = SA_RESTART;
    action.sa_handler = endByRequest;
    ::sigaction(SIGALRM, &action, &m_oldAlarm);
    action.sa_handler = noteRequest;
    ::sigaction(SIGHUP, &action, &m_oldHangUp);
    ::sigaction(SIGINT, &action, &m_oldInterrupt);
    ::sigaction(SIGTERM, &action, &m_oldTerminate);
}

EndRequests::~EndRequests() {
    ::sigaction(SIGHUP, &m_oldHangUp, nullptr);
    ::sigaction(SIGINT, &m_oldInterrupt, nullptr);
    ::sigaction(SIGTERM, &m_oldTerminate, nullptr);
    if (requested != 0)
        return; // the alarm may come at any moment
    ::sigaction(SIGALRM, &m_oldAlarm, nullptr);
    event = -1;
}

void EndRequests::obey() {
    endByRequest(0);
    ::_exit(EXIT_FAILURE);
}

} // namespace platform
