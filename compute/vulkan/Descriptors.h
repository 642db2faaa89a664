// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The buffers that a kernel names, as descriptors of storage buffers. They are pushed with each
// dispatch, so that there are no pools and no sets to keep.
#pragma once

#include "compute/spirv/ShaderInterface.h"
#include "compute/vulkan/LogicalDevice.h"

#include <array>
#include <cstdint>

namespace compute::vulkan {

using DescriptorBiases = std::array<std::uint32_t, spirv::mostDescribed>;

/// Of one dispatch.
struct Descriptors {
    std::array<VkDescriptorBufferInfo, spirv::mostDescribed> buffers{};
    std::uint32_t count = 0;
    /// How many bytes before its buffer each begins, since none may begin just there.
    DescriptorBiases biases{};

    /// Adds one for the bytes from `offset` to the end of what the kernel may touch. False if the
    /// device has no descriptors for so many bytes.
    bool add(const PhysicalDevice& device, VkBuffer buffer, std::uint64_t offset,
             std::uint64_t bytes);
    /// Adds one for a buffer that is not bound: it reads as 0.
    void addNone() { buffers[count++] = {VK_NULL_HANDLE, 0, VK_WHOLE_SIZE}; }
};

/// Of set 0: storage buffers that are pushed.
platform::Result<SetLayoutHandle> makeSetLayout(const LogicalDevice& device);

} // namespace compute::vulkan
