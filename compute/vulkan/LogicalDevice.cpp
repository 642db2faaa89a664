// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/vulkan/LogicalDevice.h"

#include "compute/vulkan/Error.h"
#include "compute/vulkan/Features.h"

#include <algorithm>
#include <span>
#include <vector>

namespace compute::vulkan {

using platform::Error;
using platform::Result;

namespace {

/// A family for compute alone, if there is one, so that the desktop is drawn beside our kernels.
std::optional<std::uint32_t> computeFamily(VkPhysicalDevice device) {
    std::uint32_t count = 0;
    vkGetPhysicalDeviceQueueFamilyProperties(device, &count, nullptr);
    std::vector<VkQueueFamilyProperties> families(count);
    vkGetPhysicalDeviceQueueFamilyProperties(device, &count, families.data());
    std::optional<std::uint32_t> found;
    for (std::uint32_t i = 0; i < count; ++i) {
        const VkQueueFlags flags = families[i].queueFlags;
        if ((flags & VK_QUEUE_COMPUTE_BIT) == 0)
            continue;
        if ((flags & VK_QUEUE_GRAPHICS_BIT) == 0)
            return i;
        found = found.value_or(i);
    }
    return found;
}

bool isAligned(std::span<const std::byte> pages, std::uint64_t alignment) {
    return (reinterpret_cast<std::uintptr_t>(pages.data()) | pages.size()) % alignment == 0;
}

} // namespace

Result<std::unique_ptr<LogicalDevice>> LogicalDevice::create(const PhysicalDevice& physical) {
    std::unique_ptr<LogicalDevice> device(new LogicalDevice(physical));
    SL42_TRY_VOID(device->open());
    return device;
}

Result<void> LogicalDevice::open() {
    const auto family = computeFamily(m_physical.handle);
    if (!family)
        return Error{m_physical.name + " cannot be used: it has no queue for kernels"};
    m_queueFamily = *family;
    const float priority = 1;
    VkDeviceQueueCreateInfo queue{};
    queue.sType = VK_STRUCTURE_TYPE_DEVICE_QUEUE_CREATE_INFO;
    queue.queueFamilyIndex = m_queueFamily;
    queue.queueCount = 1;
    queue.pQueuePriorities = &priority;
    std::vector<const char*> extensions;
    if (m_physical.importAlignment != 0)
        extensions.push_back(VK_EXT_EXTERNAL_MEMORY_HOST_EXTENSION_NAME);
    if (m_physical.features.floatAtomicAdd)
        extensions.push_back(VK_EXT_SHADER_ATOMIC_FLOAT_EXTENSION_NAME);
    if (m_physical.features.subgroupsReconverge)
        extensions.push_back(VK_KHR_SHADER_SUBGROUP_UNIFORM_CONTROL_FLOW_EXTENSION_NAME);
    if (m_physical.features.descriptors) {
        extensions.push_back(VK_EXT_ROBUSTNESS_2_EXTENSION_NAME);
        extensions.push_back(VK_KHR_PUSH_DESCRIPTOR_EXTENSION_NAME);
    }
    const Features features(m_physical.features);
    VkDeviceCreateInfo info{};
    info.sType = VK_STRUCTURE_TYPE_DEVICE_CREATE_INFO;
    info.pNext = &features.chain();
    info.queueCreateInfoCount = 1;
    info.pQueueCreateInfos = &queue;
    info.enabledExtensionCount = static_cast<std::uint32_t>(extensions.size());
    info.ppEnabledExtensionNames = extensions.data();
    SL42_TRY_VOID(
        check(vkCreateDevice(m_physical.handle, &info, nullptr, &m_device), "open the device"));
    vkGetDeviceQueue(m_device, m_queueFamily, 0, &m_queue);
    vkGetPhysicalDeviceMemoryProperties(m_physical.handle, &m_memory);
    m_pointerProperties = reinterpret_cast<PFN_vkGetMemoryHostPointerPropertiesEXT>(
        vkGetDeviceProcAddr(m_device, "vkGetMemoryHostPointerPropertiesEXT"));
    if (m_physical.features.descriptors)
        m_pushDescriptors = reinterpret_cast<PFN_vkCmdPushDescriptorSetKHR>(
            vkGetDeviceProcAddr(m_device, "vkCmdPushDescriptorSetKHR"));
    return {};
}

LogicalDevice::~LogicalDevice() {
    if (m_device != VK_NULL_HANDLE)
        vkDestroyDevice(m_device, nullptr);
}

bool LogicalDevice::canImport(std::span<const std::byte> pages) const {
    return m_physical.importAlignment != 0 && m_pointerProperties != nullptr &&
           isAligned(pages, m_physical.importAlignment);
}

Result<DeviceBuffer> LogicalDevice::import(std::span<std::byte> pages) const {
    constexpr auto kind = VK_EXTERNAL_MEMORY_HANDLE_TYPE_HOST_ALLOCATION_BIT_EXT;
    VkMemoryHostPointerPropertiesEXT pointer{};
    pointer.sType = VK_STRUCTURE_TYPE_MEMORY_HOST_POINTER_PROPERTIES_EXT;
    SL42_TRY_VOID(check(m_pointerProperties(m_device, kind, pages.data(), &pointer),
                        "give memory to the device"));
    VkExternalMemoryBufferCreateInfo external{};
    external.sType = VK_STRUCTURE_TYPE_EXTERNAL_MEMORY_BUFFER_CREATE_INFO;
    external.handleTypes = kind;
    DeviceBuffer buffer = SL42_TRY(makeBuffer(pages.size(), &external));
    VkMemoryRequirements needs = needsOf(buffer);
    if (needs.size > pages.size())
        return Error{"Cannot give memory to the device: it wants more than there is"};
    needs.size = pages.size();
    VkImportMemoryHostPointerInfoEXT import{};
    import.sType = VK_STRUCTURE_TYPE_IMPORT_MEMORY_HOST_POINTER_INFO_EXT;
    import.handleType = kind;
    import.pHostPointer = pages.data();
    const std::uint32_t type = SL42_TRY(visibleType(needs.memoryTypeBits & pointer.memoryTypeBits));
    SL42_TRY_VOID(bind(buffer, needs, type, &import));
    buffer.data = pages.data();
    return buffer;
}

Result<DeviceBuffer> LogicalDevice::allocate(std::size_t bytes) const {
    DeviceBuffer buffer = SL42_TRY(makeBuffer(bytes, nullptr));
    const VkMemoryRequirements needs = needsOf(buffer);
    const std::uint32_t type = SL42_TRY(visibleType(needs.memoryTypeBits));
    SL42_TRY_VOID(bind(buffer, needs, type, nullptr));
    void* data = nullptr;
    SL42_TRY_VOID(check(vkMapMemory(m_device, buffer.memory.get(), 0, VK_WHOLE_SIZE, 0, &data),
                        "see the device's memory"));
    buffer.data = static_cast<std::byte*>(data);
    return buffer;
}

Result<DeviceBuffer> LogicalDevice::allocateOwn(std::size_t bytes) const {
    DeviceBuffer buffer = SL42_TRY(makeBuffer(bytes, nullptr));
    const VkMemoryRequirements needs = needsOf(buffer);
    const std::uint32_t type = SL42_TRY(ownType(needs.memoryTypeBits));
    SL42_TRY_VOID(bind(buffer, needs, type, nullptr));
    return buffer;
}

bool LogicalDevice::hasOwnMemory() const {
    if (m_physical.kind != DeviceKind::Discrete)
        return false;
    const std::span types(m_memory.memoryTypes, m_memory.memoryTypeCount);
    return std::ranges::any_of(types, [](const VkMemoryType& type) {
        constexpr VkMemoryPropertyFlags either =
            VK_MEMORY_PROPERTY_DEVICE_LOCAL_BIT | VK_MEMORY_PROPERTY_HOST_VISIBLE_BIT;
        return (type.propertyFlags & either) == VK_MEMORY_PROPERTY_DEVICE_LOCAL_BIT;
    });
}

Result<DeviceBuffer> LogicalDevice::makeBuffer(std::size_t bytes, const void* external) const {
    if (bytes > m_physical.maxBufferBytes)
        return Error{"The device takes buffers of at most " +
                     std::to_string(m_physical.maxBufferBytes >> 20) + " MB"};
    VkBufferCreateInfo info{};
    info.sType = VK_STRUCTURE_TYPE_BUFFER_CREATE_INFO;
    info.pNext = external;
    info.size = bytes;
    info.usage = VK_BUFFER_USAGE_STORAGE_BUFFER_BIT | VK_BUFFER_USAGE_SHADER_DEVICE_ADDRESS_BIT |
                 VK_BUFFER_USAGE_TRANSFER_SRC_BIT | VK_BUFFER_USAGE_TRANSFER_DST_BIT;
    VkBuffer made = VK_NULL_HANDLE;
    SL42_TRY_VOID(check(vkCreateBuffer(m_device, &info, nullptr, &made), "make a buffer"));
    DeviceBuffer buffer;
    buffer.buffer = {m_device, made};
    return buffer;
}

VkMemoryRequirements LogicalDevice::needsOf(const DeviceBuffer& buffer) const {
    VkMemoryRequirements needs{};
    vkGetBufferMemoryRequirements(m_device, buffer.buffer.get(), &needs);
    return needs;
}

Result<void> LogicalDevice::bind(DeviceBuffer& buffer, const VkMemoryRequirements& needs,
                                 std::uint32_t type, const void* import) const {
    VkMemoryAllocateFlagsInfo flags{};
    flags.sType = VK_STRUCTURE_TYPE_MEMORY_ALLOCATE_FLAGS_INFO;
    flags.pNext = import;
    flags.flags = VK_MEMORY_ALLOCATE_DEVICE_ADDRESS_BIT;
    VkMemoryAllocateInfo info{};
    info.sType = VK_STRUCTURE_TYPE_MEMORY_ALLOCATE_INFO;
    info.pNext = &flags;
    info.allocationSize = needs.size;
    info.memoryTypeIndex = type;
    VkDeviceMemory memory = VK_NULL_HANDLE;
    SL42_TRY_VOID(check(vkAllocateMemory(m_device, &info, nullptr, &memory),
                        "get memory for a buffer from the device"));
    buffer.memory = {m_device, memory};
    SL42_TRY_VOID(
        check(vkBindBufferMemory(m_device, buffer.buffer.get(), memory, 0), "fill a buffer"));
    VkBufferDeviceAddressInfo address{};
    address.sType = VK_STRUCTURE_TYPE_BUFFER_DEVICE_ADDRESS_INFO;
    address.buffer = buffer.buffer.get();
    buffer.address = vkGetBufferDeviceAddress(m_device, &address);
    return {};
}

/// Drivers list the faster ones first.
std::optional<std::uint32_t> LogicalDevice::typeWith(VkMemoryPropertyFlags wanted,
                                                     std::uint32_t types) const {
    for (std::uint32_t i = 0; i < m_memory.memoryTypeCount; ++i)
        if ((types >> i & 1U) != 0 && (m_memory.memoryTypes[i].propertyFlags & wanted) == wanted)
            return i;
    return std::nullopt;
}

Result<std::uint32_t> LogicalDevice::visibleType(std::uint32_t types) const {
    constexpr VkMemoryPropertyFlags visible =
        VK_MEMORY_PROPERTY_HOST_VISIBLE_BIT | VK_MEMORY_PROPERTY_HOST_COHERENT_BIT;
    for (const VkMemoryPropertyFlags wanted :
         {visible | VK_MEMORY_PROPERTY_HOST_CACHED_BIT, visible})
        if (const auto type = typeWith(wanted, types))
            return *type;
    return Error{"The device has no memory that the processor sees, too"};
}

Result<std::uint32_t> LogicalDevice::ownType(std::uint32_t types) const {
    if (const auto type = typeWith(VK_MEMORY_PROPERTY_DEVICE_LOCAL_BIT, types))
        return *type;
    return Error{"The device has no memory of its own"};
}

} // namespace compute::vulkan
