// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Memory that kernels may address, in the region that is theirs. Most of it stands alone: a wide
// range of addresses on either side is reserved and inaccessible, so that a kernel that runs off
// one buffer faults instead of reaching the next.
#pragma once

#include "compute/memory/AddressRegion.h"
#include "platform/base/Result.h"

#include <cstddef>
#include <memory>

namespace compute::memory {

/// Immovable; unmapped on destruction. Begins with a page.
class GuardedMemory {
public:
    /// Maps `length` bytes of the memory object behind `descriptor`, which may be closed after.
    static platform::Result<std::shared_ptr<GuardedMemory>> mapShared(int descriptor,
                                                                      std::size_t length);
    /// Zero-filled memory of this process.
    static platform::Result<std::shared_ptr<GuardedMemory>> allocate(std::size_t length);
    /// The same for what is no buffer of a program: near other such memory, since there can be any
    /// number of these.
    static platform::Result<std::shared_ptr<GuardedMemory>> allocatePacked(std::size_t length);
    ~GuardedMemory();
    GuardedMemory(const GuardedMemory&) = delete;
    GuardedMemory& operator=(const GuardedMemory&) = delete;

    std::byte* data() const { return m_data; }
    std::size_t length() const { return m_length; }

private:
    GuardedMemory(AddressRegion& region, AddressRegion::Spacing spacing)
        : m_region(region), m_spacing(spacing) {}
    static platform::Result<std::shared_ptr<GuardedMemory>>
    map(int flags, int descriptor, std::size_t length, AddressRegion::Spacing spacing);

    AddressRegion& m_region;
    AddressRegion::Spacing m_spacing;
    std::byte* m_data = nullptr;
    std::size_t m_mappedBytes = 0;
    std::size_t m_length = 0;
};

} // namespace compute::memory
