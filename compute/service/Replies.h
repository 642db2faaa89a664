// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The way back to the console, shared by the threads of the service.
#pragma once

#include "compute/protocol/Channel.h"
#include "platform/base/Mutex.h"

#include <unistd.h>

namespace compute::service {

class Replies {
public:
    explicit Replies(protocol::Channel& channel) : m_channel(channel) {}

    /// Without a console there is nothing left to do: a failure ends the process.
    template <class T>
    void send(const T& reply) {
        const platform::Lock lock(m_mutex);
        protocol::encodeAs<protocol::Reply>(reply, m_bytes);
        if (!m_channel.send(m_bytes))
            ::_exit(0);
    }

    /// Whether the reply fits one message of the socket.
    template <class T>
    static bool fits(const T& reply) {
        std::vector<std::byte> bytes;
        protocol::encodeAs<protocol::Reply>(reply, bytes);
        return bytes.size() <= protocol::maxInlineMessage;
    }

private:
    platform::Mutex m_mutex;
    protocol::Channel& m_channel SL42_GUARDED_BY(m_mutex);
    std::vector<std::byte> m_bytes SL42_GUARDED_BY(m_mutex);
};

} // namespace compute::service
