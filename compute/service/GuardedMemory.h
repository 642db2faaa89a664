// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Memory that stands alone: a wide range of addresses on either side is reserved and inaccessible,
// so that a kernel that runs off one buffer faults instead of reaching the next.
#pragma once

#include "platform/base/Result.h"

#include <cstddef>
#include <memory>

namespace compute::service {

/// Immovable; unmapped on destruction.
class GuardedMemory {
public:
    /// Maps `length` bytes of the memory object behind `descriptor`, which may be closed after.
    static platform::Result<std::shared_ptr<GuardedMemory>> mapShared(int descriptor,
                                                                      std::size_t length);
    /// Zero-filled memory of this process.
    static platform::Result<std::shared_ptr<GuardedMemory>> allocate(std::size_t length);
    ~GuardedMemory();
    GuardedMemory(const GuardedMemory&) = delete;
    GuardedMemory& operator=(const GuardedMemory&) = delete;

    std::byte* data() const { return m_data; }
    std::size_t length() const { return m_length; }

private:
    GuardedMemory() = default;
    static platform::Result<std::shared_ptr<GuardedMemory>> map(int flags, int descriptor,
                                                                std::size_t length);

    std::byte* m_reservation = nullptr;
    std::size_t m_reservedBytes = 0;
    std::byte* m_data = nullptr;
    std::size_t m_length = 0;
};

} // namespace compute::service
