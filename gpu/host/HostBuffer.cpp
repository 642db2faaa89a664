// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "gpu/host/HostBuffer.h"

#include "gpu/host/ServiceClient.h"

#include <unistd.h>

namespace gpu::host {

namespace {

/// Memory objects are filled as they are touched; one larger than the machine could only fail then,
/// in the middle of a kernel.
bool exceedsMachine(std::size_t length) {
    const auto pages = static_cast<std::size_t>(::sysconf(_SC_PHYS_PAGES));
    return length > pages * static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
}

} // namespace

std::shared_ptr<HostBuffer> HostBuffer::create(std::shared_ptr<ServiceClient> client,
                                               std::size_t length, StorageMode mode) {
    if (length == 0 || exceedsMachine(length))
        return nullptr;
    auto memory = platform::SharedMemory::create(length, "buffer");
    if (!memory || (mode == StorageMode::Shared && (*memory)->bytes().empty()))
        return nullptr;
    const compute::protocol::BufferId id{client->newId()};
    auto registration = std::make_shared<Registration>(
        std::move(client),
        compute::protocol::RegisterBuffer{id, length, mode == StorageMode::Private},
        std::move(*memory));
    return std::shared_ptr<HostBuffer>(new HostBuffer(id, std::move(registration), mode));
}

std::span<std::byte> HostBuffer::contents() {
    switch (m_mode) {
    case StorageMode::Shared:
        return m_registration->memory().bytes();
    case StorageMode::Private:
        break;
    }
    return {};
}

} // namespace gpu::host
