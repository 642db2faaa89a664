// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/capture/x11/CaptureThread.h"

#include "platform/capture/x11/XProperties.h"

#include <sys/socket.h>

#include <algorithm>
#include <csignal>
#include <utility>

namespace platform::x11 {
namespace {

/// A new thread inherits what signals are blocked. Those of the program are for its other threads,
/// and SIGPIPE is for nobody: see XDisplay.
std::thread startWithoutSignals(auto work) {
    sigset_t all;
    sigset_t before;
    ::sigfillset(&all);
    ::pthread_sigmask(SIG_SETMASK, &all, &before);
    std::thread thread(std::move(work));
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return thread;
}

} // namespace

CaptureThread::CaptureThread(std::string display, std::uint64_t window, unsigned picturesPerSecond,
                             StreamHandlers handlers)
    : m_display(std::move(display)),
      m_window(window),
      m_picturesPerSecond(std::max(picturesPerSecond, 1U)),
      m_handlers(std::move(handlers)),
      m_thread(startWithoutSignals([this] { run(); })) {}

// The thread waits for the server in poll, or somewhere in XCB for an answer. Both end when the
// connection does.
CaptureThread::~CaptureThread() {
    {
        const Lock lock(m_mutex);
        m_isStopping = true;
        if (m_socket >= 0)
            ::shutdown(m_socket, SHUT_RDWR);
    }
    m_thread.join();
}

bool CaptureThread::setSocket(int socket) {
    const Lock lock(m_mutex);
    m_socket = socket;
    return !m_isStopping;
}

bool CaptureThread::isStopping() {
    const Lock lock(m_mutex);
    return m_isStopping;
}

void CaptureThread::run() {
    const auto ended = capture();
    if (!isStopping())
        m_handlers.onEvent({CaptureEvent::Kind::Stopped, ended ? *ended : ended.error().message});
}

/// Says why it has ended.
Result<std::string> CaptureThread::capture() {
    const XDisplay display = SL42_TRY(XDisplay::connect(m_display));
    if (!setSocket(display.socket()))
        return std::string();
    const std::unique_ptr<CaptureThread, void (*)(CaptureThread*)> taken(
        this, [](CaptureThread* thread) { thread->setSocket(-1); });
    const auto window = SL42_TRY(CapturedWindow::create(display, m_window));
    const std::string title =
        TitleQuestion(display, Atoms(display), static_cast<xcb_window_t>(m_window)).answer();
    if (isStopping())
        return std::string();
    m_handlers.onEvent({CaptureEvent::Kind::Started,
                        title.empty() ? "a window is captured" : "captured: " + title});
    return WindowStream(display, *window,
                        std::chrono::nanoseconds(std::chrono::seconds(1)) / m_picturesPerSecond,
                        m_handlers)
        .run();
}

} // namespace platform::x11
