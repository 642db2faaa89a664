// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/capture/portal/CaptureThread.h"

#include <poll.h>
#include <sys/eventfd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

namespace platform {
namespace {

/// A new size stops the stream for a moment, which is no pause.
constexpr std::chrono::milliseconds shortestPause(500);

/// For poll(): -1 for as long as it takes.
int millisecondsUntil(const std::optional<std::chrono::steady_clock::time_point>& time) {
    if (!time)
        return -1;
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(*time - std::chrono::steady_clock::now());
    return static_cast<int>(std::clamp<std::int64_t>(left.count(), 0, 3'600'000));
}

bool isOver(const std::optional<std::chrono::steady_clock::time_point>& time) {
    return time && *time <= std::chrono::steady_clock::now();
}

} // namespace

CaptureThread::CaptureThread(Settings settings, WindowCapture::PictureHandler onPicture,
                             WindowCapture::EventHandler onEvent)
    : m_settings(std::move(settings)),
      m_stop(::eventfd(0, EFD_CLOEXEC)),
      m_delivery(m_settings.picturesPerSecond, std::move(onPicture), std::move(onEvent)),
      m_thread([this] { run(); }) {}

CaptureThread::~CaptureThread() {
    ::eventfd_write(m_stop.get(), 1);
    m_thread.join();
}

void CaptureThread::run() {
    talk();
    m_stream.reset();
    m_session.reset();
    if (!m_endReason.empty())
        m_delivery.tell({CaptureEvent::Kind::Stopped, m_endReason});
}

void CaptureThread::talk() {
    auto session = PortalSession::open(
        m_settings.abilities, m_settings.token, m_settings.patience,
        {.onGrant = [this](PortalSession::Grant grant) { openStream(std::move(grant)); },
         .onEnd = [this](std::string reason) { end(std::move(reason)); }});
    if (!session)
        return end(session.error().message);
    m_session = std::move(session).value();
    do {
        m_session->process();
        if (m_stream)
            m_stream->process();
        passDeadlines();
    } while (m_endReason.empty() && wait());
}

bool CaptureThread::wait() {
    const int stream = m_stream ? m_stream->descriptor() : -1; // poll() passes over -1
    std::array<pollfd, 3> sources{pollfd{m_stop.get(), POLLIN, 0}, m_session->waitsFor(),
                                  pollfd{stream, POLLIN, 0}};
    const int count = ::poll(sources.data(), sources.size(), millisecondsUntil(nextDeadline()));
    if (count < 0 && errno != EINTR)
        return false;
    return count < 0 || sources[0].revents == 0;
}

CaptureThread::Deadline CaptureThread::nextDeadline() const {
    Deadline next = m_session->deadline();
    const Deadline streams = m_stream ? m_stream->deadline() : std::nullopt;
    for (const Deadline& other : {streams, m_startDeadline, m_pauseDeadline})
        if (other && (!next || *other < *next))
            next = other;
    return next;
}

void CaptureThread::passDeadlines() {
    if (isOver(m_startDeadline))
        return end("The desktop does not send the pictures that it has granted.");
    if (isOver(m_pauseDeadline)) {
        m_pauseDeadline.reset();
        m_isPaused = true;
        m_delivery.tell(
            {CaptureEvent::Kind::Paused, "The window cannot be seen now. Its last picture stays."});
    }
}

void CaptureThread::openStream(PortalSession::Grant grant) {
    m_whatIsCaptured = grant.isMonitor ? "A monitor is captured." : "A window is captured.";
    m_startDeadline = Clock::now() + m_settings.patience;
    auto stream = PipeWireStream::connect(
        std::move(grant.source), m_settings.picturesPerSecond,
        {.onPicture = [this](OwnPicture& picture) { m_delivery.offer(picture); },
         .onRunning = [this](bool isRunning) { onRunning(isRunning); },
         .onEnd = [this](std::string reason) { end(std::move(reason)); }});
    if (!stream)
        return end(stream.error().message);
    m_stream = std::move(stream).value();
}

void CaptureThread::onRunning(bool isRunning) {
    if (!isRunning) {
        if (m_hasStarted && !m_isPaused)
            m_pauseDeadline = Clock::now() + shortestPause;
        return;
    }
    m_startDeadline.reset();
    m_pauseDeadline.reset();
    if (!std::exchange(m_hasStarted, true))
        m_delivery.tell({CaptureEvent::Kind::Started, m_whatIsCaptured});
    else if (std::exchange(m_isPaused, false))
        m_delivery.tell({CaptureEvent::Kind::Resumed, {}});
}

void CaptureThread::end(std::string reason) {
    if (m_endReason.empty())
        m_endReason = std::move(reason);
}

} // namespace platform
