// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The connection to the Vulkan loader, through which drivers are found.
#pragma once

#include "platform/base/Result.h"

#include <vulkan/vulkan_core.h>

#include <memory>
#include <string>
#include <vector>

namespace compute::vulkan {

/// Called on any thread with what the validation layer found.
using ValidationHandler = void (*)(const char* message);

class Instance {
public:
    /// Loads all drivers of the machine. With a handler, the validation layer looks at every call.
    static platform::Result<std::unique_ptr<Instance>> create(ValidationHandler handler = nullptr);
    ~Instance();
    Instance(const Instance&) = delete;
    Instance& operator=(const Instance&) = delete;

    VkInstance get() const { return m_instance; }
    std::vector<VkPhysicalDevice> physicalDevices() const;

private:
    explicit Instance(VkInstance instance) : m_instance(instance) {}

    VkInstance m_instance;
    VkDebugUtilsMessengerEXT m_messenger = VK_NULL_HANDLE;
};

} // namespace compute::vulkan
