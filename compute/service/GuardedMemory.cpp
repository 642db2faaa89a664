// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/service/GuardedMemory.h"

#include <cerrno>
#include <cstring>
#include <sys/mman.h>

namespace compute::service {

using platform::Error;
using platform::Result;

namespace {

constexpr std::size_t pageBytes = 4096;
constexpr std::size_t gibibyte = std::size_t{1} << 30;
// The first width covers every 32-bit index into elements of 16 bytes. About a thousand buffers of
// that width fit the address space; those beyond get the second, which covers single bytes.
constexpr std::size_t guardWidths[] = {64 * gibibyte, 4 * gibibyte};

} // namespace

Result<std::shared_ptr<GuardedMemory>> GuardedMemory::mapShared(int descriptor,
                                                                std::size_t length) {
    return map(MAP_SHARED, descriptor, length);
}

Result<std::shared_ptr<GuardedMemory>> GuardedMemory::allocate(std::size_t length) {
    return map(MAP_PRIVATE | MAP_ANONYMOUS, -1, length);
}

Result<std::shared_ptr<GuardedMemory>> GuardedMemory::map(int flags, int descriptor,
                                                          std::size_t length) {
    const std::size_t mappedBytes = (length + pageBytes - 1) / pageBytes * pageBytes;
    if (length == 0 || mappedBytes < length || mappedBytes > 1024 * gibibyte)
        return Error{"Cannot map a buffer of this size"};
    std::shared_ptr<GuardedMemory> memory(new GuardedMemory);
    for (const std::size_t guard : guardWidths) {
        const std::size_t reservedBytes = mappedBytes + 2 * guard;
        void* reservation = ::mmap(nullptr, reservedBytes, PROT_NONE,
                                   MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
        if (reservation == MAP_FAILED)
            continue;
        memory->m_reservation = static_cast<std::byte*>(reservation);
        memory->m_reservedBytes = reservedBytes;
        memory->m_data = memory->m_reservation + guard;
        break;
    }
    if (memory->m_data == nullptr)
        return Error{"No addresses left for a buffer"};
    if (::mmap(memory->m_data, mappedBytes, PROT_READ | PROT_WRITE, flags | MAP_FIXED, descriptor,
               0) == MAP_FAILED)
        return Error{std::string("Cannot map a buffer: ") + std::strerror(errno)};
    memory->m_length = length;
    return memory;
}

GuardedMemory::~GuardedMemory() {
    if (m_reservation != nullptr)
        ::munmap(m_reservation, m_reservedBytes);
}

} // namespace compute::service
