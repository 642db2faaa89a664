// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/vulkan/Features.h"

#include <algorithm>
#include <cstring>

namespace compute::vulkan {

namespace {

/// Has each structure lead to the next.
template <class First, class Second, class... Others>
void joinUp(First& first, Second& second, Others&... others) {
    first.pNext = &second;
    if constexpr (sizeof...(others) > 0)
        joinUp(second, others...);
}

} // namespace

// ---- features -----------------------------------------------------------------------------------

template <class Self, class Visit>
void Features::forEachNeeded(Self& self, const Visit& visit) {
    visit(self.m_features.features.shaderInt64, "shaderInt64");
    visit(self.m_features.features.shaderInt16, "shaderInt16");
    visit(self.m_11.storageBuffer16BitAccess, "storageBuffer16BitAccess");
    visit(self.m_12.storageBuffer8BitAccess, "storageBuffer8BitAccess");
    visit(self.m_12.shaderInt8, "shaderInt8");
    visit(self.m_12.bufferDeviceAddress, "bufferDeviceAddress");
    visit(self.m_12.timelineSemaphore, "timelineSemaphore");
    visit(self.m_12.vulkanMemoryModel, "vulkanMemoryModel");
    visit(self.m_12.vulkanMemoryModelDeviceScope, "vulkanMemoryModelDeviceScope");
    visit(self.m_13.shaderZeroInitializeWorkgroupMemory, "shaderZeroInitializeWorkgroupMemory");
    visit(self.m_13.maintenance4,
          "maintenance4"); // sizes of workgroups as specialisation constants
}

void Features::link(bool withAtomicFloat, bool withRobustness, bool withReconvergence) {
    m_features.sType = VK_STRUCTURE_TYPE_PHYSICAL_DEVICE_FEATURES_2;
    m_11.sType = VK_STRUCTURE_TYPE_PHYSICAL_DEVICE_VULKAN_1_1_FEATURES;
    m_12.sType = VK_STRUCTURE_TYPE_PHYSICAL_DEVICE_VULKAN_1_2_FEATURES;
    m_13.sType = VK_STRUCTURE_TYPE_PHYSICAL_DEVICE_VULKAN_1_3_FEATURES;
    m_atomicFloat.sType = VK_STRUCTURE_TYPE_PHYSICAL_DEVICE_SHADER_ATOMIC_FLOAT_FEATURES_EXT;
    m_robustness.sType = VK_STRUCTURE_TYPE_PHYSICAL_DEVICE_ROBUSTNESS_2_FEATURES_EXT;
    m_reconvergence.sType =
        VK_STRUCTURE_TYPE_PHYSICAL_DEVICE_SHADER_SUBGROUP_UNIFORM_CONTROL_FLOW_FEATURES_KHR;
    joinUp(m_features, m_11, m_12, m_13);
    const auto add = [&](auto& features) {
        features.pNext = m_13.pNext;
        m_13.pNext = &features;
    };
    if (withAtomicFloat)
        add(m_atomicFloat);
    if (withRobustness)
        add(m_robustness);
    if (withReconvergence)
        add(m_reconvergence);
}

Features::Features(VkPhysicalDevice device) {
    link(true, true, true);
    vkGetPhysicalDeviceFeatures2(device, &m_features);
}

Features::Features(const spirv::Features& wanted) {
    link(wanted.floatAtomicAdd, wanted.descriptors, wanted.subgroupsReconverge);
    forEachNeeded(*this, [](VkBool32& feature, const char*) { feature = VK_TRUE; });
    m_12.shaderFloat16 = wanted.float16 ? VK_TRUE : VK_FALSE;
    m_features.features.shaderFloat64 = wanted.float64 ? VK_TRUE : VK_FALSE;
    m_12.shaderBufferInt64Atomics = wanted.int64Atomics ? VK_TRUE : VK_FALSE;
    m_12.shaderSharedInt64Atomics = wanted.int64Atomics ? VK_TRUE : VK_FALSE;
    m_13.subgroupSizeControl = wanted.subgroupThreads != 0 ? VK_TRUE : VK_FALSE;
    m_13.computeFullSubgroups = wanted.subgroupThreads != 0 ? VK_TRUE : VK_FALSE;
    m_features.features.robustBufferAccess = wanted.descriptors ? VK_TRUE : VK_FALSE;
    m_robustness.robustBufferAccess2 = VK_TRUE;
    m_robustness.nullDescriptor = VK_TRUE;
    m_reconvergence.shaderSubgroupUniformControlFlow = VK_TRUE;
    m_atomicFloat.shaderBufferFloat32Atomics = VK_TRUE;
    m_atomicFloat.shaderBufferFloat32AtomicAdd = VK_TRUE;
    m_atomicFloat.shaderSharedFloat32Atomics = VK_TRUE;
    m_atomicFloat.shaderSharedFloat32AtomicAdd = VK_TRUE;
}

const char* Features::missing() const {
    const char* first = nullptr;
    forEachNeeded(*this, [&](VkBool32 feature, const char* name) {
        if (feature != VK_TRUE && first == nullptr)
            first = name;
    });
    return first;
}

// ---- properties ---------------------------------------------------------------------------------

Properties::Properties(VkPhysicalDevice device) : m_features(device) {
    m_properties.sType = VK_STRUCTURE_TYPE_PHYSICAL_DEVICE_PROPERTIES_2;
    m_11.sType = VK_STRUCTURE_TYPE_PHYSICAL_DEVICE_VULKAN_1_1_PROPERTIES;
    m_12.sType = VK_STRUCTURE_TYPE_PHYSICAL_DEVICE_VULKAN_1_2_PROPERTIES;
    m_13.sType = VK_STRUCTURE_TYPE_PHYSICAL_DEVICE_VULKAN_1_3_PROPERTIES;
    m_hostMemory.sType = VK_STRUCTURE_TYPE_PHYSICAL_DEVICE_EXTERNAL_MEMORY_HOST_PROPERTIES_EXT;
    joinUp(m_properties, m_11, m_12, m_13, m_hostMemory);
    vkGetPhysicalDeviceProperties2(device, &m_properties);
    std::uint32_t count = 0;
    vkEnumerateDeviceExtensionProperties(device, nullptr, &count, nullptr);
    m_extensions.resize(count);
    if (vkEnumerateDeviceExtensionProperties(device, nullptr, &count, m_extensions.data()) !=
        VK_SUCCESS)
        count = 0;
    m_extensions.resize(count);
}

bool Properties::hasExtension(const char* name) const {
    return std::ranges::any_of(m_extensions, [&](const VkExtensionProperties& extension) {
        return std::strcmp(extension.extensionName, name) == 0;
    });
}

std::string Properties::driverName() const {
    const std::string version = m_12.driverInfo; // some say nothing
    return std::string(m_12.driverName) + (version.empty() ? "" : ", " + version);
}

std::uint64_t Properties::maxBufferBytes() const {
    return std::min(m_13.maxBufferSize, m_11.maxMemoryAllocationSize);
}

std::uint64_t Properties::importAlignment() const {
    return hasExtension(VK_EXT_EXTERNAL_MEMORY_HOST_EXTENSION_NAME)
               ? m_hostMemory.minImportedHostPointerAlignment
               : 0;
}

std::uint64_t Properties::maxDescribedBytes() const {
    return std::min<std::uint64_t>(m_properties.properties.limits.maxStorageBufferRange,
                                   spirv::mostDescribedBytes);
}

std::uint32_t Properties::descriptorAlignment() const {
    return static_cast<std::uint32_t>(
        m_properties.properties.limits.minStorageBufferOffsetAlignment);
}

bool Properties::hasDescriptors() const {
    const VkPhysicalDeviceLimits& limits = m_properties.properties.limits;
    return hasExtension(VK_EXT_ROBUSTNESS_2_EXTENSION_NAME) &&
           hasExtension(VK_KHR_PUSH_DESCRIPTOR_EXTENSION_NAME) &&
           m_features.robustness().robustBufferAccess2 == VK_TRUE &&
           m_features.robustness().nullDescriptor == VK_TRUE &&
           m_features.plain().robustBufferAccess == VK_TRUE &&
           limits.maxPerStageDescriptorStorageBuffers >= spirv::mostDescribed &&
           limits.maxDescriptorSetStorageBuffers >= spirv::mostDescribed;
}

bool Properties::hasSubgroupsOf(std::uint32_t threads) const {
    constexpr VkSubgroupFeatureFlags operations =
        VK_SUBGROUP_FEATURE_BASIC_BIT | VK_SUBGROUP_FEATURE_BALLOT_BIT |
        VK_SUBGROUP_FEATURE_SHUFFLE_BIT | VK_SUBGROUP_FEATURE_ARITHMETIC_BIT;
    return m_features.of13().subgroupSizeControl == VK_TRUE &&
           m_features.of13().computeFullSubgroups == VK_TRUE &&
           (m_13.requiredSubgroupSizeStages & VK_SHADER_STAGE_COMPUTE_BIT) != 0 &&
           (m_11.subgroupSupportedStages & VK_SHADER_STAGE_COMPUTE_BIT) != 0 &&
           (m_11.subgroupSupportedOperations & operations) == operations &&
           m_13.minSubgroupSize <= threads && threads <= m_13.maxSubgroupSize &&
           m_13.maxComputeWorkgroupSubgroups >=
               std::min(maxThreadsOfGroup,
                        m_properties.properties.limits.maxComputeWorkGroupInvocations) /
                   threads;
}

spirv::Features Properties::shaderFeatures() const {
    const auto& atomicFloat = m_features.atomicFloat();
    return {.float16 = m_features.of12().shaderFloat16 == VK_TRUE &&
                       m_12.shaderRoundingModeRTEFloat16 == VK_TRUE,
            .float64 = m_features.plain().shaderFloat64 == VK_TRUE,
            .int64Atomics = m_features.of12().shaderBufferInt64Atomics == VK_TRUE &&
                            m_features.of12().shaderSharedInt64Atomics == VK_TRUE,
            .floatAtomicAdd = hasExtension(VK_EXT_SHADER_ATOMIC_FLOAT_EXTENSION_NAME) &&
                              atomicFloat.shaderBufferFloat32Atomics == VK_TRUE &&
                              atomicFloat.shaderSharedFloat32Atomics == VK_TRUE &&
                              atomicFloat.shaderBufferFloat32AtomicAdd == VK_TRUE &&
                              atomicFloat.shaderSharedFloat32AtomicAdd == VK_TRUE,
            .preservesNan = m_12.shaderSignedZeroInfNanPreserveFloat32 == VK_TRUE,
            .flushesDenormals = m_12.shaderDenormFlushToZeroFloat32 == VK_TRUE,
            .roundsToEven = m_12.shaderRoundingModeRTEFloat32 == VK_TRUE,
            .descriptors = hasDescriptors(),
            .subgroupThreads =
                hasSubgroupsOf(spirv::simdgroupThreads) ? spirv::simdgroupThreads : 0,
            .subgroupsReconverge =
                hasExtension(VK_KHR_SHADER_SUBGROUP_UNIFORM_CONTROL_FLOW_EXTENSION_NAME) &&
                m_features.subgroupsReconverge()};
}

std::string Properties::whatIsMissing() const {
    const char* missing = m_features.missing();
    return missing == nullptr ? std::string() : "its driver lacks " + std::string(missing);
}

} // namespace compute::vulkan
