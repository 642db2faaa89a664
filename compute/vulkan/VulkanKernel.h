// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A kernel as a shader, and the pipelines that are made of it: one for each size of workgroup, and
// for each way in which its buffers lie beside the places where descriptors may begin.
#pragma once

#include "compute/backend/Kernel.h"
#include "compute/spirv/ShaderInterface.h"
#include "compute/vulkan/Descriptors.h"
#include "compute/vulkan/LogicalDevice.h"
#include "compute/vulkan/PipelineCache.h"
#include "platform/base/Mutex.h"

#include <map>
#include <memory>

namespace compute::vulkan {

struct Workgroup {
    std::array<std::uint32_t, 3> size{1, 1, 1};
    std::uint32_t argumentBytes = 0; ///< of the arguments in threadgroup memory

    auto operator<=>(const Workgroup&) const = default;
};

/// What a pipeline is made for.
struct Specialisation {
    Workgroup workgroup;
    DescriptorBiases biases{};

    auto operator<=>(const Specialisation&) const = default;
};

class VulkanDevice;

class VulkanKernel final : public Kernel {
public:
    /// Makes the pipeline that will probably be used. The error says what the driver refused.
    static platform::Result<std::shared_ptr<VulkanKernel>>
    create(std::shared_ptr<VulkanDevice> device, KernelDescription description,
           const spirv::Shader& shader, PipelineCache cache);

    /// Has the device run it with what else belongs to the command buffer.
    void run(const Bindings& bindings, Extent grid, Extent threadsPerThreadgroup,
             std::uint32_t begin, std::uint32_t end) const override;

    /// Without its words.
    const spirv::Shader& shader() const { return m_shader; }
    bool runsInGroups() const { return m_shader.runsInGroups; }
    bool followsPointers() const { return m_shader.followsPointers; }
    /// The workgroup for a dispatch; the error says that the device allows no such thing.
    platform::Result<Workgroup> workgroupFor(const Bindings& bindings, Extent grid,
                                             Extent threadsPerThreadgroup) const;
    /// Made when it is first asked for. Any thread.
    platform::Result<VkPipeline> pipelineFor(const Specialisation& specialisation) const;

private:
    VulkanKernel(std::shared_ptr<VulkanDevice> device, KernelDescription description,
                 const spirv::Shader& shader, PipelineCache cache);
    platform::Result<PipelineHandle> makePipeline(const Specialisation& specialisation) const;

    const std::shared_ptr<VulkanDevice> m_device;
    spirv::Shader m_shader; ///< without its words, which the module has
    ShaderHandle m_module;
    const PipelineCache m_cache;
    mutable platform::Mutex m_mutex;
    mutable std::map<Specialisation, PipelineHandle> m_pipelines SL42_GUARDED_BY(m_mutex);
};

} // namespace compute::vulkan
