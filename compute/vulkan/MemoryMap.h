// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The memory of kernels as the device sees it: at the same place where the driver can do that, else
// as a copy that is brought up to date around each submission. Private memory lies in the device's
// own where it has some.
#pragma once

#include "compute/backend/Device.h"
#include "compute/vulkan/DeviceOptions.h"
#include "compute/vulkan/LogicalDevice.h"
#include "platform/base/Mutex.h"

#include <map>

namespace compute::vulkan {

/// Who has to do with memory besides kernels.
enum class Use : std::uint8_t {
    Shared,  ///< the process reads and writes it
    Private, ///< nobody
    Input,   ///< the process only writes it
};

/// Memory of the process and the buffer that stands for it. What is not constant is for the thread
/// that hands things over.
struct Piece {
    std::shared_ptr<const LogicalDevice> device;
    Memory memory;
    DeviceBuffer buffer; ///< goes before what it lies in
    /// Of private memory in the device's own: where the process can be reached from there.
    DeviceBuffer mirror;
    /// Whether that, or else the buffer, is a copy.
    bool isCopy = false;
    Use use = Use::Shared;
    /// What was last handed over that writes it.
    Ticket writtenBy = 0;
    bool isFilled = false; ///< the device's own memory has been brought up to date
    bool isDirty = false;  ///< and may have been written since it was last written back

    bool isLocal() const { return static_cast<bool>(mirror.buffer); }

    const std::byte* begin() const { return memory->data(); }
    std::size_t bytes() const { return memory->length(); }
};

/// Any thread.
class MemoryMap {
public:
    MemoryMap(std::shared_ptr<const LogicalDevice> device, const DeviceOptions& options)
        : m_device(std::move(device)),
          m_alwaysCopies(options.alwaysCopies),
          m_hasOwn(options.alwaysLocal || m_device->hasOwnMemory()) {}

    /// The same memory; as long as somebody holds what this returns, it is found here.
    platform::Result<Memory> adopt(Memory memory, Use use);
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
    const bool m_hasOwn;
    const std::shared_ptr<List> m_list = std::make_shared<List>();
};

} // namespace compute::vulkan
