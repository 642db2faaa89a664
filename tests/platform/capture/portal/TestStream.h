// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A stream of the test picture, as a desktop sends one of a window.
#pragma once

#include <spa/buffer/buffer.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>

namespace platform::tests {

/// How its pictures lie in their buffers.
struct StreamShape {
    std::uint32_t width = 640; ///< of the window
    std::uint32_t height = 400;
    std::uint32_t format = 0;  ///< of SPA's; 0: BGRx
    std::uint32_t padding = 0; ///< bytes at the end of each row
    std::uint32_t offset = 0;  ///< bytes before the first pixel
    /// The size of the buffer's picture, in which the window is at (16, 8); else the window's.
    bool isInMonitor = false;
    /// Sends nothing in a new format until the stream is started again.
    bool waitsForRestart = false;
    /// Changes what is said about a picture before it is sent.
    std::function<void(spa_buffer&)> tamper = nullptr;
};

class TestStream {
public:
    explicit TestStream(StreamShape shape = {});
    /// The window is closed.
    ~TestStream();
    TestStream(const TestStream&) = delete;
    TestStream& operator=(const TestStream&) = delete;

    /// Sends through a new node of PipeWire from now on, as desktops do for each session, and
    /// returns it. Any thread.
    std::uint32_t renew();
    /// Sends the test picture with this counter, as soon as there is a buffer for it.
    void show(std::uint32_t counter);
    /// From now on. A new size or format is negotiated.
    void reshape(StreamShape shape, std::uint32_t counter);
    /// Stops or goes on, as a desktop does with a window that cannot be seen.
    void setActive(bool isActive);

private:
    class Sender;

    std::mutex m_mutex;
    std::unique_ptr<Sender> m_sender;
};

} // namespace platform::tests
