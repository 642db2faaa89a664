// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What a driver's refusal is called.
#pragma once

#include "platform/base/Result.h"

#include <vulkan/vulkan_core.h>

#include <string>

namespace compute::vulkan {

/// "Cannot <what>: <why>".
platform::Error failed(const std::string& what, VkResult why);

inline platform::Result<void> check(VkResult result, const char* what) {
    if (result != VK_SUCCESS)
        return failed(what, result);
    return {};
}

} // namespace compute::vulkan
