// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/vulkan/Descriptors.h"

#include "compute/vulkan/Error.h"

#include <algorithm>

namespace compute::vulkan {

namespace {

/// Vectors of 16 bytes lie at multiples of that, whatever the device would allow.
constexpr std::uint32_t leastAlignment = 16;

} // namespace

bool Descriptors::add(const PhysicalDevice& device, VkBuffer buffer, std::uint64_t offset,
                      std::uint64_t bytes) {
    const std::uint64_t bias = offset % std::max(device.descriptorAlignment, leastAlignment);
    if (bytes + bias > device.maxDescribedBytes)
        return false;
    biases[count] = static_cast<std::uint32_t>(bias);
    buffers[count++] = {buffer, offset - bias, bytes + bias};
    return true;
}

platform::Result<SetLayoutHandle> makeSetLayout(const LogicalDevice& device) {
    std::array<VkDescriptorSetLayoutBinding, spirv::mostDescribed> bindings{};
    for (std::uint32_t i = 0; i < bindings.size(); ++i)
        bindings[i] = {i, VK_DESCRIPTOR_TYPE_STORAGE_BUFFER, 1, VK_SHADER_STAGE_COMPUTE_BIT,
                       nullptr};
    VkDescriptorSetLayoutCreateInfo info{};
    info.sType = VK_STRUCTURE_TYPE_DESCRIPTOR_SET_LAYOUT_CREATE_INFO;
    info.flags = VK_DESCRIPTOR_SET_LAYOUT_CREATE_PUSH_DESCRIPTOR_BIT_KHR;
    info.bindingCount = static_cast<std::uint32_t>(bindings.size());
    info.pBindings = bindings.data();
    VkDescriptorSetLayout made = VK_NULL_HANDLE;
    SL42_TRY_VOID(check(vkCreateDescriptorSetLayout(device.get(), &info, nullptr, &made),
                        "lay out descriptors"));
    return SetLayoutHandle(device.get(), made);
}

} // namespace compute::vulkan
