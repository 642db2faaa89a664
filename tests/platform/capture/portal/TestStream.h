// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A stream of the test picture, as a desktop sends one of a window.
#pragma once

#include <pipewire/pipewire.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>

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
    using Encoded = std::array<std::byte, 1024>;

    /// Makes a node and waits until it is known.
    void connect();
    const spa_pod* offeredFormat(Encoded& memory) const;
    void onState(pw_stream_state state);
    void onFormat(const spa_pod* format);
    static void addBuffer(const StreamShape& shape, pw_buffer* buffer);
    static void removeBuffer(pw_buffer* buffer);
    void send();
    void describe(spa_buffer& buffer) const;
    static const pw_stream_events& events();

    StreamShape m_shape;
    std::uint32_t m_counter = 0;
    bool m_mustSend = true;
    bool m_isReady = false; ///< with buffers for the shape
    bool m_isSilent = false;
    pw_thread_loop* m_loop = nullptr;
    pw_context* m_context = nullptr;
    pw_core* m_core = nullptr;
    pw_stream* m_stream = nullptr;
    spa_hook m_hook{};
};

} // namespace platform::tests
