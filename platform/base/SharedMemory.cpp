// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/base/SharedMemory.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

namespace platform {

SharedMemory::SharedMemory(FileDescriptor descriptor, std::size_t size)
    : m_descriptor(std::move(descriptor)), m_size(size) {}

SharedMemory::~SharedMemory() {
    if (m_mapping != nullptr)
        ::munmap(m_mapping, m_size);
}

Result<std::shared_ptr<SharedMemory>> SharedMemory::create(std::size_t size,
                                                           const std::string& name) {
    FileDescriptor descriptor(::memfd_create(name.c_str(), MFD_CLOEXEC | MFD_ALLOW_SEALING));
    if (!descriptor)
        return Error{std::string("Cannot create shared memory: ") + std::strerror(errno)};
    if (::ftruncate(descriptor.get(), static_cast<off_t>(size)) != 0)
        return Error{std::string("Cannot size shared memory: ") + std::strerror(errno)};
    // The other side must never be able to shrink it under our feet.
    if (::fcntl(descriptor.get(), F_ADD_SEALS, F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_SEAL) != 0)
        return Error{std::string("Cannot seal shared memory: ") + std::strerror(errno)};
    return std::shared_ptr<SharedMemory>(new SharedMemory(std::move(descriptor), size));
}

std::span<std::byte> SharedMemory::bytes() {
    if (m_mapping == nullptr && m_size > 0) {
        void* mapping =
            ::mmap(nullptr, m_size, PROT_READ | PROT_WRITE, MAP_SHARED, m_descriptor.get(), 0);
        if (mapping == MAP_FAILED)
            return {};
        m_mapping = static_cast<std::byte*>(mapping);
    }
    return {m_mapping, m_size};
}

} // namespace platform
