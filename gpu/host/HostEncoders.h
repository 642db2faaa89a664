// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Encoders check their commands at once and record them as messages for the service.
#pragma once

#include "gpu/host/HostBuffer.h"
#include "gpu/host/HostCommandBuffer.h"
#include "gpu/host/HostLibrary.h"
#include "gpu/host/HostTexture.h"

#include <array>
#include <map>
#include <optional>

namespace gpu::host {

class HostComputeEncoder final : public ComputeCommandEncoder {
public:
    HostComputeEncoder(std::shared_ptr<HostCommandBuffer> commandBuffer,
                       std::pmr::memory_resource* memory)
        : m_commandBuffer(std::move(commandBuffer)), m_label(memory), m_bindings(memory) {}
    ~HostComputeEncoder() override { endEncoding(); }

    void setLabel(std::string_view label) override { m_label = label; }
    void setComputePipelineState(std::shared_ptr<ComputePipelineState> pipeline) override;
    void setBuffer(std::shared_ptr<Buffer> buffer, std::size_t offset,
                   std::uint32_t index) override;
    void setBuffers(std::span<const std::shared_ptr<Buffer>> buffers,
                    std::uint32_t firstIndex) override;
    void setBytes(std::span<const std::byte> bytes, std::uint32_t index) override;
    void setTexture(std::shared_ptr<Texture> texture, std::uint32_t index) override;
    void setSampler(const Sampler& sampler, std::uint32_t index) override;
    void setArguments(std::span<const std::byte> bytes, std::span<const ArgumentValue> resources,
                      std::uint32_t index) override;
    void setThreadgroupMemoryLength(std::size_t length, std::uint32_t index) override;
    void dispatchThreads(Extent threads, Extent threadsPerThreadgroup) override {
        dispatchPart(threads, threadsPerThreadgroup, {.offset = 0, .length = threads.width});
    }
    void dispatchPart(Extent threads, Extent threadsPerThreadgroup, Range part) override;
    void endEncoding() override;

private:
    /// Either a buffer or bytes by value; nothing when neither is there.
    struct BufferSlot {
        std::shared_ptr<HostBuffer> buffer;
        std::size_t offset = 0;   ///< in the buffer, or among the bytes of the command buffer
        std::uint32_t length = 0; ///< of the bytes by value
    };

    void refuse(const std::string& what);
    /// False, and the command buffer refused, when something is missing.
    bool bind(const compute::protocol::Parameter& parameter);
    bool bindBuffer(std::uint32_t index);
    bool bindArguments(const compute::protocol::Parameter& parameter);
    bool bindTexture(const compute::protocol::Parameter& parameter, std::uint32_t index);
    bool bindSampler(std::uint32_t index);
    /// Adds the resources of the argument buffer at that index.
    bool bindResources(std::uint32_t index);
    bool bindThreadgroupMemory(std::uint32_t index);

    std::shared_ptr<HostCommandBuffer> m_commandBuffer; ///< null once ended
    std::pmr::string m_label;
    std::shared_ptr<HostPipelineState> m_pipeline;
    std::array<BufferSlot, maxBuffers> m_buffers;
    std::array<std::shared_ptr<HostTexture>, maxTextures> m_textures;
    std::array<std::optional<Sampler>, maxSamplers> m_samplers;
    /// By the index of their argument buffers.
    std::multimap<std::uint32_t, ArgumentValue> m_resources;
    std::array<std::uint32_t, compute::maxThreadgroupMemories> m_threadgroupBytes{};
    std::pmr::vector<compute::protocol::Binding> m_bindings; ///< of the dispatch at hand
};

class HostBlitEncoder final : public BlitCommandEncoder {
public:
    HostBlitEncoder(std::shared_ptr<HostCommandBuffer> commandBuffer,
                    std::pmr::memory_resource* memory)
        : m_commandBuffer(std::move(commandBuffer)), m_label(memory) {}
    ~HostBlitEncoder() override { endEncoding(); }

    void setLabel(std::string_view label) override { m_label = label; }
    void fill(std::shared_ptr<Buffer> buffer, Range range, std::uint8_t value) override;
    void copy(std::shared_ptr<Buffer> source, std::size_t sourceOffset,
              std::shared_ptr<Buffer> destination, std::size_t destinationOffset,
              std::size_t length) override;
    void generateMipmaps(std::shared_ptr<Texture> texture) override;
    void endEncoding() override;

private:
    void refuse(const std::string& what);

    std::shared_ptr<HostCommandBuffer> m_commandBuffer; ///< null once ended
    std::pmr::string m_label;
};

} // namespace gpu::host
