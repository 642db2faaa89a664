// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/vulkan/DeviceList.h"

#include "compute/vulkan/Instance.h"
#include "compute/vulkan/PhysicalDevice.h"

#include <algorithm>

namespace compute::vulkan {

namespace {

/// A driver may call itself what it likes.
std::string printable(std::string text) {
    std::ranges::replace_if(text, [](unsigned char c) { return c < ' ' || c == 127; }, ' ');
    return text;
}

std::string limitsOf(const PhysicalDevice& device) {
    return std::to_string(device.memoryBytes >> 20) + " MB of memory, buffers of at most " +
           std::to_string(device.maxBufferBytes >> 20) + " MB, threadgroups of at most " +
           std::to_string(device.maxGroupThreads) + " threads with " +
           std::to_string(device.maxGroupBytes >> 10) + " KB" +
           (device.importAlignment != 0 ? "" : ", memory is copied");
}

} // namespace

std::string listDevices() {
    const auto instance = Instance::create();
    if (!instance)
        return {};
    std::string lines;
    for (const VkPhysicalDevice handle : (*instance)->physicalDevices()) {
        const PhysicalDevice device = describe(handle);
        lines += printable(device.name) + '\t' + std::string(nameOf(device.kind)) + '\t' +
                 printable(device.driver) + ", Vulkan " + device.version + '\t' + limitsOf(device) +
                 '\t' + device.unusable + '\n';
    }
    return lines;
}

} // namespace compute::vulkan
