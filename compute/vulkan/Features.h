// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The structures in which a Vulkan driver says what it can do, and in which it is asked for that.
// They are chained by pointers, so they do not move.
#pragma once

#include "compute/spirv/ShaderInterface.h"

#include <vulkan/vulkan_core.h>

#include <string>
#include <vector>

namespace compute::vulkan {

/// The features of a driver of version 1.3, and those that kernels need or can make use of.
class Features {
public:
    /// Asks for all that the driver has.
    explicit Features(VkPhysicalDevice device);
    /// Those to be switched on: what is needed and what `wanted` says.
    explicit Features(const spirv::Features& wanted);
    Features(const Features&) = delete;
    Features& operator=(const Features&) = delete;

    const VkPhysicalDeviceFeatures2& chain() const { return m_features; }
    /// The first feature that is needed and not there, by its name in Vulkan; null if all are.
    const char* missing() const;
    const VkPhysicalDeviceFeatures& plain() const { return m_features.features; }
    const VkPhysicalDeviceVulkan12Features& of12() const { return m_12; }
    const VkPhysicalDeviceVulkan13Features& of13() const { return m_13; }
    const VkPhysicalDeviceShaderAtomicFloatFeaturesEXT& atomicFloat() const {
        return m_atomicFloat;
    }
    const VkPhysicalDeviceRobustness2FeaturesEXT& robustness() const { return m_robustness; }
    bool subgroupsReconverge() const {
        return m_reconvergence.shaderSubgroupUniformControlFlow == VK_TRUE;
    }

private:
    void link(bool withAtomicFloat, bool withRobustness, bool withReconvergence);
    /// Every feature that is needed, with its name.
    template <class Self, class Visit>
    static void forEachNeeded(Self& self, const Visit& visit);

    VkPhysicalDeviceFeatures2 m_features{};
    VkPhysicalDeviceVulkan11Features m_11{};
    VkPhysicalDeviceVulkan12Features m_12{};
    VkPhysicalDeviceVulkan13Features m_13{};
    VkPhysicalDeviceShaderAtomicFloatFeaturesEXT m_atomicFloat{};
    VkPhysicalDeviceRobustness2FeaturesEXT m_robustness{};
    VkPhysicalDeviceShaderSubgroupUniformControlFlowFeaturesKHR m_reconvergence{};
};

/// What else a driver of version 1.3 says of a device.
class Properties {
public:
    explicit Properties(VkPhysicalDevice device);
    Properties(const Properties&) = delete;
    Properties& operator=(const Properties&) = delete;

    /// With its version.
    std::string driverName() const;
    std::uint64_t maxBufferBytes() const;
    std::uint64_t importAlignment() const;
    /// The most that a descriptor covers, and at multiples of what it may begin.
    std::uint64_t maxDescribedBytes() const;
    std::uint32_t descriptorAlignment() const;
    spirv::Features shaderFeatures() const;
    /// What kernels need and is not there, for people; empty when nothing is missing.
    std::string whatIsMissing() const;

private:
    bool hasExtension(const char* name) const;
    bool hasDescriptors() const;
    bool hasSubgroupsOf(std::uint32_t threads) const;

    VkPhysicalDeviceProperties2 m_properties{};
    VkPhysicalDeviceVulkan11Properties m_11{};
    VkPhysicalDeviceVulkan12Properties m_12{};
    VkPhysicalDeviceVulkan13Properties m_13{};
    VkPhysicalDeviceExternalMemoryHostPropertiesEXT m_hostMemory{};
    Features m_features;
    std::vector<VkExtensionProperties> m_extensions;
};

} // namespace compute::vulkan
