// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The connection to one device: its queue, its memory, and the functions of extensions.
#pragma once

#include "compute/vulkan/Handle.h"
#include "compute/vulkan/PhysicalDevice.h"
#include "platform/base/Result.h"

#include <cstddef>
#include <memory>
#include <optional>
#include <span>

namespace compute::vulkan {

/// A buffer with an address of the device, and its memory.
struct DeviceBuffer {
    MemoryHandle memory;
    BufferHandle buffer; ///< goes first
    std::uint64_t address = 0;
    /// Where the process sees it.
    std::byte* data = nullptr;
};

class LogicalDevice {
public:
    static platform::Result<std::unique_ptr<LogicalDevice>> create(const PhysicalDevice& physical);
    ~LogicalDevice();
    LogicalDevice(const LogicalDevice&) = delete;
    LogicalDevice& operator=(const LogicalDevice&) = delete;

    VkDevice get() const { return m_device; }
    VkQueue queue() const { return m_queue; }
    std::uint32_t queueFamily() const { return m_queueFamily; }
    const PhysicalDevice& physical() const { return m_physical; }
    /// Null without spirv::Features::descriptors.
    PFN_vkCmdPushDescriptorSetKHR pushDescriptors() const { return m_pushDescriptors; }

    // Any thread may call these.

    /// Memory that device and process see at once, of the driver's making. Undefined contents.
    platform::Result<DeviceBuffer> allocate(std::size_t bytes) const;
    /// Memory of the device's own, which the process need not see. Undefined contents.
    platform::Result<DeviceBuffer> allocateOwn(std::size_t bytes) const;
    /// Whether the device has memory that it alone sees, beside the machine's.
    bool hasOwnMemory() const;
    /// Memory of this process, which becomes the device's, too, where it lies. Whole pages; they
    /// must stay as long as the buffer.
    platform::Result<DeviceBuffer> import(std::span<std::byte> pages) const;
    /// Whether import() can do that.
    bool canImport(std::span<const std::byte> pages) const;

private:
    explicit LogicalDevice(PhysicalDevice physical) : m_physical(std::move(physical)) {}
    platform::Result<void> open();
    platform::Result<DeviceBuffer> makeBuffer(std::size_t bytes, const void* external) const;
    VkMemoryRequirements needsOf(const DeviceBuffer& buffer) const;
    platform::Result<void> bind(DeviceBuffer& buffer, const VkMemoryRequirements& needs,
                                std::uint32_t type, const void* import) const;
    /// The first of `types` that the process sees without asking; cached where possible.
    platform::Result<std::uint32_t> visibleType(std::uint32_t types) const;
    platform::Result<std::uint32_t> ownType(std::uint32_t types) const;
    /// The first of `types` with all of these properties.
    std::optional<std::uint32_t> typeWith(VkMemoryPropertyFlags wanted, std::uint32_t types) const;

    const PhysicalDevice m_physical;
    VkPhysicalDeviceMemoryProperties m_memory{};
    VkDevice m_device = VK_NULL_HANDLE;
    VkQueue m_queue = VK_NULL_HANDLE;
    std::uint32_t m_queueFamily = 0;
    PFN_vkGetMemoryHostPointerPropertiesEXT m_pointerProperties = nullptr;
    PFN_vkCmdPushDescriptorSetKHR m_pushDescriptors = nullptr;
};

} // namespace compute::vulkan
