// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The devices that drivers offer: what they are, whether kernels can run on them, and which one
// somebody means.
#pragma once

#include "compute/spirv/ShaderInterface.h"
#include "platform/base/Result.h"

#include <vulkan/vulkan_core.h>

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace compute::vulkan {

/// In the order in which they are preferred.
enum class DeviceKind : std::uint8_t { Discrete, Integrated, Virtual, Other, Software };

/// "discrete GPU".
std::string_view nameOf(DeviceKind kind);

struct PhysicalDevice {
    VkPhysicalDevice handle = VK_NULL_HANDLE;
    std::string name;
    DeviceKind kind = DeviceKind::Other;
    std::string driver;  ///< with its version
    std::string version; ///< of Vulkan
    /// Why kernels cannot run on it; empty when they can.
    std::string unusable;

    /// Of its own; of an integrated device, what it may take of the machine's.
    std::uint64_t memoryBytes = 0;
    std::uint64_t maxBufferBytes = 0;
    std::uint32_t maxGroupThreads = 0;
    std::uint32_t maxGroupBytes = 0;
    std::array<std::uint32_t, 3> maxGroupSize{};
    std::array<std::uint32_t, 3> maxGroupCount{};
    /// Memory of the process becomes the device's where it lies, if it is a multiple of this; 0
    /// when the driver cannot do that.
    std::uint64_t importAlignment = 0;

    /// Of memory that a descriptor covers, and at what multiples it begins.
    std::uint64_t maxDescribedBytes = 0;
    std::uint32_t descriptorAlignment = 1;

    spirv::Features features; ///< optional ones
};

/// Asks the driver.
PhysicalDevice describe(VkPhysicalDevice device);

/// The device that `choice` means: "auto", a discrete or else an integrated one; "vulkan", the best
/// one of all; "vulkan:" and a name or part of one, in upper or lower case. The error says in one
/// line why there is none, or why it cannot be used.
platform::Result<PhysicalDevice> choose(std::span<const PhysicalDevice> devices,
                                        std::string_view choice);

} // namespace compute::vulkan
