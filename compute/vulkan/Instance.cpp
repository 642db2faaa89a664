// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/vulkan/Instance.h"

#include "compute/vulkan/Error.h"

#include <cstdint>

namespace compute::vulkan {

using platform::Result;

namespace {

constexpr const char* validationLayer = "VK_LAYER_KHRONOS_validation";

VKAPI_ATTR VkBool32 VKAPI_CALL passOn(VkDebugUtilsMessageSeverityFlagBitsEXT,
                                      VkDebugUtilsMessageTypeFlagsEXT,
                                      const VkDebugUtilsMessengerCallbackDataEXT* data,
                                      void* handler) {
    reinterpret_cast<ValidationHandler>(handler)(data->pMessage);
    return VK_FALSE;
}

VkDebugUtilsMessengerCreateInfoEXT messengerFor(ValidationHandler handler) {
    VkDebugUtilsMessengerCreateInfoEXT info{};
    info.sType = VK_STRUCTURE_TYPE_DEBUG_UTILS_MESSENGER_CREATE_INFO_EXT;
    info.messageSeverity = VK_DEBUG_UTILS_MESSAGE_SEVERITY_WARNING_BIT_EXT |
                           VK_DEBUG_UTILS_MESSAGE_SEVERITY_ERROR_BIT_EXT;
    info.messageType = VK_DEBUG_UTILS_MESSAGE_TYPE_VALIDATION_BIT_EXT;
    info.pfnUserCallback = passOn;
    info.pUserData = reinterpret_cast<void*>(handler);
    return info;
}

template <class Function>
Function instanceFunction(VkInstance instance, const char* name) {
    return reinterpret_cast<Function>(vkGetInstanceProcAddr(instance, name));
}

} // namespace

Result<std::unique_ptr<Instance>> Instance::create(ValidationHandler handler) {
    VkApplicationInfo application{};
    application.sType = VK_STRUCTURE_TYPE_APPLICATION_INFO;
    application.pApplicationName = "Starloom 42";
    application.apiVersion = VK_API_VERSION_1_3;
    const VkDebugUtilsMessengerCreateInfoEXT messenger = messengerFor(handler);
    const char* extension = VK_EXT_DEBUG_UTILS_EXTENSION_NAME;
    VkInstanceCreateInfo info{};
    info.sType = VK_STRUCTURE_TYPE_INSTANCE_CREATE_INFO;
    info.pApplicationInfo = &application;
    if (handler != nullptr) {
        info.pNext = &messenger;
        info.enabledLayerCount = 1;
        info.ppEnabledLayerNames = &validationLayer;
        info.enabledExtensionCount = 1;
        info.ppEnabledExtensionNames = &extension;
    }
    VkInstance created = VK_NULL_HANDLE;
    SL42_TRY_VOID(check(vkCreateInstance(&info, nullptr, &created), "use Vulkan"));
    std::unique_ptr<Instance> instance(new Instance(created));
    if (handler != nullptr) {
        const auto create = instanceFunction<PFN_vkCreateDebugUtilsMessengerEXT>(
            created, "vkCreateDebugUtilsMessengerEXT");
        SL42_TRY_VOID(check(create(created, &messenger, nullptr, &instance->m_messenger),
                            "listen to the validation layer"));
    }
    return instance;
}

Instance::~Instance() {
    if (m_messenger != VK_NULL_HANDLE)
        instanceFunction<PFN_vkDestroyDebugUtilsMessengerEXT>(
            m_instance, "vkDestroyDebugUtilsMessengerEXT")(m_instance, m_messenger, nullptr);
    vkDestroyInstance(m_instance, nullptr);
}

std::vector<VkPhysicalDevice> Instance::physicalDevices() const {
    std::uint32_t count = 0;
    vkEnumeratePhysicalDevices(m_instance, &count, nullptr);
    std::vector<VkPhysicalDevice> devices(count);
    if (vkEnumeratePhysicalDevices(m_instance, &count, devices.data()) < VK_SUCCESS)
        return {};
    devices.resize(count);
    return devices;
}

} // namespace compute::vulkan
