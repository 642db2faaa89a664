// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "gpu/host/Registration.h"

#include "gpu/host/ServiceClient.h"

namespace gpu::host {

namespace protocol = compute::protocol;

Registration::Registration(std::shared_ptr<ServiceClient> client, Message message,
                           std::shared_ptr<platform::SharedMemory> memory)
    : m_client(std::move(client)), m_message(std::move(message)), m_memory(std::move(memory)) {}

Registration::~Registration() {
    if (const auto* buffer = std::get_if<protocol::RegisterBuffer>(&m_message))
        m_client->release(protocol::ReleaseBuffer{buffer->buffer});
    else if (const auto* texture = std::get_if<protocol::RegisterTexture>(&m_message))
        m_client->release(protocol::ReleaseTexture{texture->texture});
}

} // namespace gpu::host
