// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/memory/GuardedMemory.h"

#include <cerrno>
#include <cstring>
#include <sys/mman.h>

namespace compute::memory {

using platform::Error;
using platform::Result;
using Spacing = AddressRegion::Spacing;

namespace {
constexpr std::size_t pageBytes = 4096;
} // namespace

Result<std::shared_ptr<GuardedMemory>> GuardedMemory::mapShared(int descriptor,
                                                                std::size_t length) {
    return map(MAP_SHARED, descriptor, length, Spacing::Alone);
}

Result<std::shared_ptr<GuardedMemory>> GuardedMemory::allocate(std::size_t length) {
    return map(MAP_PRIVATE | MAP_ANONYMOUS, -1, length, Spacing::Alone);
}

Result<std::shared_ptr<GuardedMemory>> GuardedMemory::allocatePacked(std::size_t length) {
    return map(MAP_PRIVATE | MAP_ANONYMOUS, -1, length, Spacing::Packed);
}

Result<std::shared_ptr<GuardedMemory>> GuardedMemory::map(int flags, int descriptor,
                                                          std::size_t length, Spacing spacing) {
    const std::size_t mappedBytes = (length + pageBytes - 1) / pageBytes * pageBytes;
    if (mappedBytes < length)
        return Error{"Cannot map a buffer of this size"};
    AddressRegion* region = SL42_TRY(AddressRegion::get());
    std::shared_ptr<GuardedMemory> memory(new GuardedMemory(*region, spacing));
    memory->m_data = SL42_TRY(region->take(mappedBytes, spacing));
    memory->m_mappedBytes = mappedBytes;
    if (::mmap(memory->m_data, mappedBytes, PROT_READ | PROT_WRITE, flags | MAP_FIXED, descriptor,
               0) == MAP_FAILED)
        return Error{std::string("Cannot map a buffer: ") + std::strerror(errno)};
    memory->m_length = length;
    return memory;
}

GuardedMemory::~GuardedMemory() {
    if (m_data != nullptr)
        m_region.giveBack(m_data, m_mappedBytes, m_spacing);
}

} // namespace compute::memory
