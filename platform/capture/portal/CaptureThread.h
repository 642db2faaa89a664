// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// One capture from its start to its end, on threads of its own.
#pragma once

#include "platform/base/FileDescriptor.h"
#include "platform/capture/WindowCapture.h"
#include "platform/capture/portal/Delivery.h"
#include "platform/capture/portal/PipeWireStream.h"
#include "platform/capture/portal/PortalSession.h"
#include "platform/capture/portal/RestoreToken.h"
#include "platform/capture/portal/SessionBus.h"

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <thread>

namespace platform {

class CaptureThread {
public:
    struct Settings {
        PortalAbilities abilities;
        RestoreToken token;
        std::chrono::milliseconds patience; ///< for answers that no person is asked for
        unsigned picturesPerSecond;
    };

    CaptureThread(Settings settings, WindowCapture::PictureHandler onPicture,
                  WindowCapture::EventHandler onEvent);
    /// Ends the capture, wherever it is. No handler runs any more.
    ~CaptureThread();
    CaptureThread(const CaptureThread&) = delete;
    CaptureThread& operator=(const CaptureThread&) = delete;

private:
    using Clock = std::chrono::steady_clock;
    using Deadline = std::optional<Clock::time_point>;

    void run();
    void talk();
    bool wait(); ///< false when the capture is to end
    Deadline nextDeadline() const;
    void passDeadlines();
    void openStream(PortalSession::Grant grant);
    void onRunning(bool isRunning);
    void end(std::string reason);

    const Settings m_settings;
    const FileDescriptor m_stop; ///< can be read from when the capture is to end
    Delivery m_delivery;

    // The thread's own.
    std::unique_ptr<PortalSession> m_session;
    std::unique_ptr<PipeWireStream> m_stream;
    std::string m_endReason; ///< empty while it goes on
    std::string m_whatIsCaptured;
    Deadline m_startDeadline; ///< for the stream to run, while it does not
    Deadline m_pauseDeadline; ///< for it to run again before that is called a pause
    bool m_hasStarted = false;
    bool m_isPaused = false;

    std::thread m_thread;
};

} // namespace platform
