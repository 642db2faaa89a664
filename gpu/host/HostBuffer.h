// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A buffer is a memory object of this process that the service maps too.
#pragma once

#include "gpu/Buffer.h"
#include "gpu/host/Registration.h"

namespace gpu::host {

class HostBuffer final : public Buffer {
public:
    /// Null when there is no memory of that size.
    static std::shared_ptr<HostBuffer> create(std::shared_ptr<ServiceClient> client,
                                              std::size_t length, StorageMode mode);

    std::size_t length() const override { return m_registration->memory().size(); }
    StorageMode storageMode() const override { return m_mode; }
    std::span<std::byte> contents() override;

    compute::protocol::BufferId id() const { return m_id; }
    const std::shared_ptr<Registration>& registration() const { return m_registration; }

private:
    HostBuffer(compute::protocol::BufferId id, std::shared_ptr<Registration> registration,
               StorageMode mode)
        : m_id(id), m_registration(std::move(registration)), m_mode(mode) {}

    compute::protocol::BufferId m_id;
    std::shared_ptr<Registration> m_registration;
    StorageMode m_mode;
};

} // namespace gpu::host
