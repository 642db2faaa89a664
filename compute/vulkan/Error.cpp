// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/vulkan/Error.h"

namespace compute::vulkan {

namespace {

std::string reason(VkResult result) {
    switch (result) {
    case VK_ERROR_OUT_OF_HOST_MEMORY:
        return "the machine has no memory left";
    case VK_ERROR_OUT_OF_DEVICE_MEMORY:
        return "the device has no memory left";
    case VK_ERROR_DEVICE_LOST:
        return "the device was lost";
    case VK_ERROR_INITIALIZATION_FAILED:
        return "the driver does not start";
    case VK_ERROR_INCOMPATIBLE_DRIVER:
        return "there is no driver";
    case VK_ERROR_LAYER_NOT_PRESENT:
        return "the validation layer is not installed";
    case VK_ERROR_EXTENSION_NOT_PRESENT:
    case VK_ERROR_FEATURE_NOT_PRESENT:
        return "the driver lacks what it claimed to have";
    case VK_ERROR_TOO_MANY_OBJECTS:
        return "the driver allows no more objects";
    case VK_ERROR_INVALID_EXTERNAL_HANDLE:
        return "the driver does not take such memory";
    default:
        return "the driver says " + std::to_string(result);
    }
}

} // namespace

platform::Error failed(const std::string& what, VkResult why) {
    return {"Cannot " + what + ": " + reason(why)};
}

} // namespace compute::vulkan
