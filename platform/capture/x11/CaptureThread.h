// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The thread of one stream, with a connection of its own.
#pragma once

#include "platform/base/Mutex.h"
#include "platform/capture/x11/WindowStream.h"

#include <cstdint>
#include <string>
#include <thread>

namespace platform::x11 {

class CaptureThread {
public:
    CaptureThread(std::string display, std::uint64_t window, unsigned picturesPerSecond,
                  StreamHandlers handlers);
    /// No handler runs after it. Does not wait for a server that does not answer.
    ~CaptureThread();

private:
    void run();
    Result<std::string> capture();
    /// The connection that the destructor may end; a negative number takes it back. False when it
    /// is to be none any more.
    bool setSocket(int socket);
    bool isStopping();

    std::string m_display;
    std::uint64_t m_window;
    unsigned m_picturesPerSecond;
    StreamHandlers m_handlers;
    Mutex m_mutex;
    bool m_isStopping SL42_GUARDED_BY(m_mutex) = false;
    int m_socket SL42_GUARDED_BY(m_mutex) = -1;
    std::thread m_thread;
};

} // namespace platform::x11
