// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The memory of kernels as the device sees it: at the same place where the driver can do that, else
// as a copy that is brought up to date around each submission.
#pragma once

#include "compute/backend/Device.h"
#include "compute/vulkan/LogicalDevice.h"
#include "platform/base/Mutex.h"

#include <map>

namespace compute::vulkan {

/// Memory of the process and the buffer that stands for it.
struct Piece {
    std::shared_ptr<const LogicalDevice> device;
    Memory memory;
    DeviceBuffer buffer; ///< goes before what it lies in
    bool isCopy = false;
    /// What was last handed over that writes it; for the thread that hands things over.
    Ticket writtenBy = 0;

    const std::byte* begin() const { return memory->data(); }
    std::size_t bytes() const { return memory->length(); }
};

/// Any thread.
class MemoryMap {
public:
    explicit MemoryMap(std::shared_ptr<const LogicalDevice> device, bool alwaysCopies)
        : m_device(std::move(device)), m_alwaysCopies(alwaysCopies) {}

    /// The same memory; as long as somebody holds what this returns, it is found here.
    platform::Result<Memory> adopt(Memory memory);
    /// What the place lies in; null when that has not been adopted.
    std::shared_ptr<Piece> find(const std::byte* place) const;

private:
    /// By where they begin. Shared, since a piece takes itself off the list when it goes.
    struct List {
        platform::Mutex mutex;
        std::map<const std::byte*, std::weak_ptr<Piece>> pieces SL42_GUARDED_BY(mutex);
    };
    platform::Result<DeviceBuffer> bufferFor(const Memory& memory, bool& isCopy) const;

    const std::shared_ptr<const LogicalDevice> m_device;
    const bool m_alwaysCopies;
    const std::shared_ptr<List> m_list = std::make_shared<List>();
};

} // namespace compute::vulkan
