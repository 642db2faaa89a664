// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// One end of the socket between console and service: whole messages, with descriptors beside them.
// A message that is long, such as a program text, travels in a sealed memory object instead; the
// receiver does not see the difference.
#pragma once

#include "compute/protocol/Codec.h"
#include "platform/base/FileDescriptor.h"
#include "platform/base/Result.h"

#include <chrono>

namespace compute::protocol {

/// Longest message that travels in the socket itself. Replies must not be longer: the service
/// cannot make memory objects.
inline constexpr std::size_t maxInlineMessage = 160u << 10;
/// The service finds its end of the socket and the status page under these descriptors.
inline constexpr int serviceSocket = 3;
inline constexpr int serviceStatusPage = 4;
/// What the threads that compile are called; the console counts their processor time apart.
inline constexpr const char* compilerThreadName = "compiler";

enum class ReceiveStatus : std::uint8_t { Message, Nothing, Closed, Malformed };

struct Received {
    ReceiveStatus status = ReceiveStatus::Closed;
    /// Valid until the next receive() on the same channel.
    std::span<const std::byte> bytes;
    /// At most one comes with a message.
    platform::FileDescriptor descriptor;
};

/// send() and receive() may be called from two threads at a time, but each from one only.
class Channel {
public:
    explicit Channel(platform::FileDescriptor socket);

    /// Two connected ends.
    static platform::Result<std::pair<platform::FileDescriptor, platform::FileDescriptor>>
    makePair();

    /// A full socket makes send() wait at most this long and fail then; for ever unless set.
    void setSendTimeout(std::chrono::milliseconds timeout);

    int descriptor() const { return m_socket.get(); }
    /// False when the other side is gone or does not read.
    [[nodiscard]] bool send(std::span<const std::byte> message, int descriptor = -1);

    /// What happens to descriptors that come with a message.
    enum class Descriptors : std::uint8_t { Accept, Drop };
    /// Takes one message; waits for it unless `wait` is false. A channel that drops descriptors
    /// takes no long messages either.
    Received receive(Descriptors descriptors, bool wait);

private:
    bool sendInMemory(std::span<const std::byte> message, int descriptor);
    Received unpackMemory(platform::FileDescriptor memory, std::size_t size);

    platform::FileDescriptor m_socket;
    std::vector<std::byte> m_incoming;
    std::vector<std::byte> m_longMessage;
};

} // namespace compute::protocol
