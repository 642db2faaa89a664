// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A buffer or a texture as the service is told about it.
#pragma once

#include "compute/protocol/Protocol.h"
#include "platform/base/SharedMemory.h"

#include <cstdint>
#include <memory>
#include <variant>

namespace gpu::host {

class ServiceClient;

/// Keeps the memory alive for as long as device or console need it. The service hears of it before
/// the first command buffer that uses it, and that it has gone once nobody holds this any more.
class Registration {
public:
    using Message =
        std::variant<compute::protocol::RegisterBuffer, compute::protocol::RegisterTexture>;

    Registration(std::shared_ptr<ServiceClient> client, Message message,
                 std::shared_ptr<platform::SharedMemory> memory);
    ~Registration();
    Registration(const Registration&) = delete;
    Registration& operator=(const Registration&) = delete;

    const Message& message() const { return m_message; }
    platform::SharedMemory& memory() const { return *m_memory; }
    const std::shared_ptr<platform::SharedMemory>& sharedMemory() const { return m_memory; }

    /// The run of the service that knows of it; for the client, under its lock.
    std::uint64_t announcedIn = 0;

private:
    std::shared_ptr<ServiceClient> m_client;
    Message m_message;
    std::shared_ptr<platform::SharedMemory> m_memory;
};

} // namespace gpu::host
