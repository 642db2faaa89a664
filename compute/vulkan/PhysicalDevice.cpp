// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/vulkan/PhysicalDevice.h"

#include "compute/vulkan/Features.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <tuple>

namespace compute::vulkan {

using platform::Error;
using platform::Result;

namespace {

DeviceKind kindOf(VkPhysicalDeviceType type) {
    switch (type) {
    case VK_PHYSICAL_DEVICE_TYPE_DISCRETE_GPU:
        return DeviceKind::Discrete;
    case VK_PHYSICAL_DEVICE_TYPE_INTEGRATED_GPU:
        return DeviceKind::Integrated;
    case VK_PHYSICAL_DEVICE_TYPE_VIRTUAL_GPU:
        return DeviceKind::Virtual;
    case VK_PHYSICAL_DEVICE_TYPE_CPU:
        return DeviceKind::Software;
    default:
        return DeviceKind::Other;
    }
}

std::string versionText(std::uint32_t version) {
    return std::to_string(VK_API_VERSION_MAJOR(version)) + '.' +
           std::to_string(VK_API_VERSION_MINOR(version)) + '.' +
           std::to_string(VK_API_VERSION_PATCH(version));
}

std::uint64_t memoryOf(VkPhysicalDevice device) {
    VkPhysicalDeviceMemoryProperties memory{};
    vkGetPhysicalDeviceMemoryProperties(device, &memory);
    std::uint64_t bytes = 0;
    for (const VkMemoryHeap& heap : std::span(memory.memoryHeaps, memory.memoryHeapCount))
        if ((heap.flags & VK_MEMORY_HEAP_DEVICE_LOCAL_BIT) != 0)
            bytes = std::max(bytes, heap.size);
    return bytes;
}

/// Empty when the limits suffice. What programs may ask for on the host they may ask for here.
std::string tooLow(const PhysicalDevice& device) {
    if (device.maxGroupThreads < 256)
        return "its threadgroups have too few threads (" + std::to_string(device.maxGroupThreads) +
               ")";
    if (device.maxGroupBytes < maxThreadgroupBytes)
        return "its threadgroups have too little memory (" + std::to_string(device.maxGroupBytes) +
               " bytes)";
    return {};
}

std::string lowerCase(std::string_view text) {
    std::string result(text);
    std::ranges::transform(result, result.begin(), [](unsigned char c) { return std::tolower(c); });
    return result;
}

Result<PhysicalDevice> usable(const PhysicalDevice& device) {
    if (!device.unusable.empty())
        return Error{device.name + " cannot be used: " + device.unusable};
    return device;
}

} // namespace

std::string_view nameOf(DeviceKind kind) {
    switch (kind) {
    case DeviceKind::Discrete:
        return "discrete GPU";
    case DeviceKind::Integrated:
        return "integrated GPU";
    case DeviceKind::Virtual:
        return "virtual GPU";
    case DeviceKind::Software:
        return "software";
    case DeviceKind::Other:
        break;
    }
    return "other device";
}

PhysicalDevice describe(VkPhysicalDevice handle) {
    PhysicalDevice device;
    device.handle = handle;
    VkPhysicalDeviceProperties plain{};
    vkGetPhysicalDeviceProperties(handle, &plain);
    device.name = plain.deviceName;
    device.kind = kindOf(plain.deviceType);
    device.version = versionText(plain.apiVersion);
    device.memoryBytes = memoryOf(handle);
    // Before 1.3 the rest cannot be asked for.
    if (plain.apiVersion < VK_API_VERSION_1_3) {
        device.unusable = "its driver has Vulkan " + device.version + ", not 1.3";
        return device;
    }
    const Properties properties(handle);
    device.driver = properties.driverName();
    const VkPhysicalDeviceLimits& limits = plain.limits;
    device.maxBufferBytes = properties.maxBufferBytes();
    device.maxGroupThreads = limits.maxComputeWorkGroupInvocations;
    device.maxGroupBytes = limits.maxComputeSharedMemorySize;
    std::ranges::copy(limits.maxComputeWorkGroupSize, device.maxGroupSize.begin());
    std::ranges::copy(limits.maxComputeWorkGroupCount, device.maxGroupCount.begin());
    device.importAlignment = properties.importAlignment();
    device.maxDescribedBytes = properties.maxDescribedBytes();
    device.descriptorAlignment = properties.descriptorAlignment();
    device.features = properties.shaderFeatures();
    device.unusable = properties.whatIsMissing();
    if (device.unusable.empty())
        device.unusable = tooLow(device);
    return device;
}

Result<PhysicalDevice> choose(std::span<const PhysicalDevice> devices, std::string_view choice) {
    constexpr std::string_view byName = "vulkan:";
    if (devices.empty())
        return Error{"There is no Vulkan driver"};
    const bool automatic = choice == "auto";
    const std::string part =
        choice.starts_with(byName) ? lowerCase(choice.substr(byName.size())) : std::string();
    const auto isMeant = [&](const PhysicalDevice& device) {
        return automatic ? device.kind <= DeviceKind::Integrated
                         : lowerCase(device.name).find(part) != std::string::npos;
    };
    // Whoever picks a device from a list means that one, not another whose name goes on.
    const auto rank = [&](const PhysicalDevice& device) {
        const bool isWholeName = lowerCase(device.name) == part;
        return std::tuple(!isWholeName, !device.unusable.empty(), device.kind);
    };
    const PhysicalDevice* best = nullptr;
    for (const PhysicalDevice& device : devices)
        if (isMeant(device) && (best == nullptr || rank(device) < rank(*best)))
            best = &device;
    if (best != nullptr)
        return usable(*best);
    if (automatic)
        return Error{"There is no graphics device"};
    std::string names;
    for (const PhysicalDevice& device : devices)
        names += (names.empty() ? "" : ", ") + device.name;
    return Error{"No device is called '" + part + "'; there are: " + names};
}

} // namespace compute::vulkan
