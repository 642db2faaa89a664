// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/vulkan/VulkanKernel.h"

#include "compute/backend/GridRecord.h"
#include "compute/vulkan/Error.h"
#include "compute/vulkan/VulkanDevice.h"

#include <algorithm>
#include <iterator>

namespace compute::vulkan {

using platform::Error;
using platform::Lock;
using platform::Result;

namespace {

// As many threads as two of the widest subgroups that there are. In pictures, neighbours in both
// directions read the same texels.
constexpr std::array<std::uint32_t, 3> rowOfThreads = {64, 1, 1};
constexpr std::array<std::uint32_t, 3> squareOfThreads = {8, 8, 1};

/// Whether the kernel looks like one for pictures.
bool hasPositionInPlane(const KernelDescription& description) {
    return std::ranges::any_of(description.parameters, [](const Parameter& parameter) {
        return parameter.kind == ParameterKind::ThreadPositionInGrid && parameter.components > 1;
    });
}

} // namespace

Result<std::shared_ptr<VulkanKernel>> VulkanKernel::create(std::shared_ptr<VulkanDevice> device,
                                                           KernelDescription description,
                                                           const spirv::Shader& shader,
                                                           PipelineCache cache) {
    const VkDevice handle = device->logical().get();
    std::shared_ptr<VulkanKernel> kernel(
        new VulkanKernel(std::move(device), std::move(description), shader, std::move(cache)));
    VkShaderModuleCreateInfo info{};
    info.sType = VK_STRUCTURE_TYPE_SHADER_MODULE_CREATE_INFO;
    info.codeSize = shader.words.size() * sizeof shader.words[0];
    info.pCode = shader.words.data();
    VkShaderModule module = VK_NULL_HANDLE;
    SL42_TRY_VOID(check(vkCreateShaderModule(handle, &info, nullptr, &module),
                        "hand the kernel to the driver"));
    kernel->m_module = {handle, module};
    if (!shader.runsInGroups) {
        const bool isPlane = hasPositionInPlane(kernel->description());
        (void)SL42_TRY(
            kernel->pipelineFor({.workgroup = {isPlane ? squareOfThreads : rowOfThreads}}));
    }
    return kernel;
}

VulkanKernel::VulkanKernel(std::shared_ptr<VulkanDevice> device, KernelDescription description,
                           const spirv::Shader& shader, PipelineCache cache)
    : Kernel(std::move(description)),
      m_device(std::move(device)),
      m_shader{.words = {},
               .entry = shader.entry,
               .requirements = shader.requirements,
               .runsInGroups = shader.runsInGroups,
               .followsPointers = shader.followsPointers,
               .directSlots = shader.directSlots,
               .describedBuffers = shader.describedBuffers,
               .groupBytes = shader.groupBytes,
               .groupBytesOfThread = shader.groupBytesOfThread},
      m_cache(std::move(cache)) {}

void VulkanKernel::run(const Bindings& bindings, Extent grid, Extent threadsPerThreadgroup,
                       std::uint32_t begin, std::uint32_t end) const {
    m_device->record(*this, bindings, grid, threadsPerThreadgroup, begin, end);
}

Result<Workgroup> VulkanKernel::workgroupFor(const Bindings& bindings, Extent grid,
                                             Extent group) const {
    if (!m_shader.runsInGroups)
        return Workgroup{grid.height > 1 ? squareOfThreads : rowOfThreads};
    const PhysicalDevice& device = m_device->logical().physical();
    const std::uint32_t threads = group.width * group.height * group.depth;
    if (threads > std::min(device.maxGroupThreads, device.maxGroupSize[0]))
        return Error{"kernel '" + description().name +
                     "': this device has threadgroups of at most " +
                     std::to_string(device.maxGroupThreads) + " threads"};
    const std::uint32_t argumentBytes = threadgroupArgumentBytes(bindings);
    if (spirv::groupBytesOf(m_shader, threads) + argumentBytes > device.maxGroupBytes)
        return Error{"kernel '" + description().name + "': this device has at most " +
                     std::to_string(device.maxGroupBytes) + " bytes of threadgroup memory"};
    return Workgroup{{threads, 1, 1}, argumentBytes};
}

Result<VkPipeline> VulkanKernel::pipelineFor(const Specialisation& specialisation) const {
    const Lock lock(m_mutex);
    auto found = m_pipelines.find(specialisation);
    if (found == m_pipelines.end())
        found = m_pipelines.emplace(specialisation, SL42_TRY(makePipeline(specialisation))).first;
    return found->second.get();
}

Result<PipelineHandle> VulkanKernel::makePipeline(const Specialisation& specialisation) const {
    const LogicalDevice& device = m_device->logical();
    const Workgroup& workgroup = specialisation.workgroup;
    std::array<std::uint32_t, spirv::FirstDescriptorBias + spirv::mostDescribed> values{};
    std::ranges::copy(workgroup.size, &values[spirv::WorkgroupWidth]);
    values[spirv::ThreadgroupArgumentBytes] = workgroup.argumentBytes;
    std::ranges::copy(specialisation.biases, &values[spirv::FirstDescriptorBias]);
    std::array<VkSpecializationMapEntry, values.size()> entries{};
    constexpr std::uint32_t word = sizeof(std::uint32_t);
    for (std::uint32_t i = 0; i < entries.size(); ++i)
        entries[i] = {i, i * word, word};
    const VkSpecializationInfo constants{static_cast<std::uint32_t>(entries.size()), entries.data(),
                                         sizeof values, values.data()};
    VkPipelineShaderStageRequiredSubgroupSizeCreateInfo subgroups{};
    subgroups.sType = VK_STRUCTURE_TYPE_PIPELINE_SHADER_STAGE_REQUIRED_SUBGROUP_SIZE_CREATE_INFO;
    subgroups.requiredSubgroupSize = m_shader.requirements.subgroupThreads;
    VkComputePipelineCreateInfo info{};
    info.sType = VK_STRUCTURE_TYPE_COMPUTE_PIPELINE_CREATE_INFO;
    info.layout = m_device->layout();
    info.stage.sType = VK_STRUCTURE_TYPE_PIPELINE_SHADER_STAGE_CREATE_INFO;
    info.stage.stage = VK_SHADER_STAGE_COMPUTE_BIT;
    info.stage.module = m_module.get();
    info.stage.pName = m_shader.entry.c_str();
    info.stage.pSpecializationInfo = &constants;
    if (spirv::runsInSubgroups(m_shader, workgroup.size[0])) {
        info.stage.pNext = &subgroups;
        info.stage.flags = VK_PIPELINE_SHADER_STAGE_CREATE_REQUIRE_FULL_SUBGROUPS_BIT;
    }
    VkPipeline made = VK_NULL_HANDLE;
    const VkResult result =
        vkCreateComputePipelines(device.get(), m_cache.get(), 1, &info, nullptr, &made);
    if (result != VK_SUCCESS)
        return failed("make kernel '" + description().name + "' for the device", result);
    PipelineHandle pipeline(device.get(), made);
    m_cache.keep();
    return pipeline;
}

} // namespace compute::vulkan
