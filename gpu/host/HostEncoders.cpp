// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "gpu/host/HostEncoders.h"

#include <cmath>

namespace gpu::host {

namespace protocol = compute::protocol;

namespace {

std::string labelled(std::string_view label, const std::string& what) {
    return label.empty() ? what : std::string(label) + ": " + what;
}

bool isInside(const HostBuffer& buffer, std::size_t offset, std::size_t length) {
    return offset <= buffer.length() && length <= buffer.length() - offset;
}

bool isEmpty(Extent size) {
    return size.width == 0 || size.height == 0 || size.depth == 0;
}

} // namespace

// ---- kernels ------------------------------------------------------------------------------------

void HostComputeEncoder::refuse(const std::string& what) {
    if (m_commandBuffer)
        m_commandBuffer->refuse(labelled(m_label, what));
}

void HostComputeEncoder::setComputePipelineState(std::shared_ptr<ComputePipelineState> pipeline) {
    m_pipeline = std::dynamic_pointer_cast<HostPipelineState>(std::move(pipeline));
}

void HostComputeEncoder::setBuffer(std::shared_ptr<Buffer> buffer, std::size_t offset,
                                   std::uint32_t index) {
    if (index >= maxBuffers)
        return refuse("there is no buffer index " + std::to_string(index));
    m_resources.erase(index);
    BufferSlot& slot = m_buffers[index];
    slot.buffer = std::dynamic_pointer_cast<HostBuffer>(std::move(buffer));
    slot.offset = offset;
    slot.length = 0;
}

void HostComputeEncoder::setBuffers(std::span<const std::shared_ptr<Buffer>> buffers,
                                    std::uint32_t firstIndex) {
    for (std::size_t i = 0; i < buffers.size(); ++i)
        setBuffer(buffers[i], 0, firstIndex + static_cast<std::uint32_t>(i));
}

void HostComputeEncoder::setBytes(std::span<const std::byte> bytes, std::uint32_t index) {
    if (index >= maxBuffers)
        return refuse("there is no buffer index " + std::to_string(index));
    if (bytes.empty() || bytes.size() > protocol::maxInlineBytes)
        return refuse("cannot pass " + std::to_string(bytes.size()) + " bytes by value");
    m_resources.erase(index);
    if (m_commandBuffer)
        m_buffers[index] = {.buffer = nullptr,
                            .offset = m_commandBuffer->addBytes(bytes),
                            .length = static_cast<std::uint32_t>(bytes.size())};
}

void HostComputeEncoder::setTexture(std::shared_ptr<Texture> texture, std::uint32_t index) {
    if (index >= maxTextures)
        return refuse("there is no texture index " + std::to_string(index));
    m_textures[index] = std::dynamic_pointer_cast<HostTexture>(std::move(texture));
}

void HostComputeEncoder::setSampler(const Sampler& sampler, std::uint32_t index) {
    if (index >= maxSamplers)
        return refuse("there is no sampler index " + std::to_string(index));
    if (!std::isfinite(sampler.lodMinimum) || !std::isfinite(sampler.lodMaximum))
        return refuse("a sampler's levels of detail must be finite");
    m_samplers[index] = sampler;
}

void HostComputeEncoder::setArguments(std::span<const std::byte> bytes,
                                      std::span<const ArgumentValue> resources,
                                      std::uint32_t index) {
    setBytes(bytes, index);
    for (const ArgumentValue& value : resources) {
        const std::size_t size = std::holds_alternative<Sampler>(value.resource) ? 24 : 8;
        if (value.offset % 8 != 0 || value.offset > bytes.size() ||
            size > bytes.size() - value.offset)
            return refuse("a resource lies outside of its argument buffer");
        m_resources.emplace(index, value);
    }
}

void HostComputeEncoder::setThreadgroupMemoryLength(std::size_t length, std::uint32_t index) {
    if (index >= compute::maxThreadgroupMemories)
        return refuse("there is no threadgroup memory index " + std::to_string(index));
    constexpr std::size_t alignment = 16;
    std::size_t all =
        (std::min<std::size_t>(length, compute::maxThreadgroupBytes + 1) + alignment - 1) /
        alignment * alignment;
    for (std::uint32_t i = 0; i < m_threadgroupBytes.size(); ++i)
        if (i != index)
            all += (m_threadgroupBytes[i] + alignment - 1) / alignment * alignment;
    if (all > compute::maxThreadgroupBytes)
        return refuse("threadgroup memory is limited to " +
                      std::to_string(compute::maxThreadgroupBytes) + " bytes");
    m_threadgroupBytes[index] = static_cast<std::uint32_t>(length);
}

void HostComputeEncoder::dispatchPart(Extent threads, Extent threadsPerThreadgroup, Range part) {
    if (!m_commandBuffer)
        return;
    if (!m_pipeline)
        return refuse("dispatch without a pipeline");
    if (isEmpty(threadsPerThreadgroup))
        return refuse("kernel '" + m_pipeline->functionName() + "' has empty threadgroups");
    if (part.offset > threads.width || part.length > threads.width - part.offset)
        return refuse("kernel '" + m_pipeline->functionName() + "' is to run outside of its grid");
    if (isEmpty(threads) || part.length == 0)
        return;
    const auto& pipeline = m_pipeline->pipeline();
    m_bindings.clear();
    for (const protocol::Parameter& parameter : pipeline->parameters)
        if (!bind(parameter))
            return;
    m_commandBuffer->record(
        protocol::Dispatch{pipeline->id, threads, threadsPerThreadgroup,
                           static_cast<std::uint32_t>(m_bindings.size()),
                           static_cast<std::uint32_t>(part.offset),
                           static_cast<std::uint32_t>(part.offset + part.length)},
        pipeline, m_bindings);
}

bool HostComputeEncoder::bind(const protocol::Parameter& parameter) {
    const auto isMissing = [&](const char* kind) {
        refuse("kernel '" + m_pipeline->functionName() + "' needs " + kind + " " +
               std::to_string(parameter.index) + " ('" + parameter.name +
               "'), which is not bound or does not fit");
        return false;
    };
    switch (parameter.kind) {
    case ParameterKind::Buffer:
        return (bindBuffer(parameter.index) && bindResources(parameter.index)) ||
               isMissing("buffer");
    case ParameterKind::Texture:
        return bindArguments(parameter) || isMissing("texture");
    case ParameterKind::Sampler:
        return bindArguments(parameter) || isMissing("sampler");
    case ParameterKind::ThreadgroupMemory:
        return bindThreadgroupMemory(parameter.index) || isMissing("threadgroup memory");
    default: // the service supplies it
        return true;
    }
}

bool HostComputeEncoder::bindArguments(const protocol::Parameter& parameter) {
    for (std::uint32_t i = 0; i < parameter.count; ++i) {
        const std::uint32_t index = parameter.index + i;
        const bool isBound = parameter.kind == ParameterKind::Texture
                                 ? bindTexture(parameter, index)
                                 : bindSampler(index);
        if (!isBound)
            return false;
    }
    return true;
}

bool HostComputeEncoder::bindBuffer(std::uint32_t index) {
    const BufferSlot& slot = m_buffers[index];
    if (slot.length != 0) {
        m_bindings.emplace_back(
            protocol::InlineBinding{index, static_cast<std::uint32_t>(slot.offset), slot.length});
        return true;
    }
    if (!slot.buffer || !isInside(*slot.buffer, slot.offset, 1))
        return false;
    m_bindings.emplace_back(protocol::BufferBinding{index, slot.buffer->id(), slot.offset});
    m_commandBuffer->use(slot.buffer->registration());
    return true;
}

bool HostComputeEncoder::bindTexture(const protocol::Parameter& parameter, std::uint32_t index) {
    const auto& texture = m_textures[index];
    if (!texture)
        return parameter.count > 1;
    if (texture->descriptor().type != parameter.textureType ||
        texelKind(texture->descriptor().format) != parameter.texels)
        return false;
    m_bindings.emplace_back(protocol::TextureBinding{index, texture->id()});
    m_commandBuffer->use(texture->registration());
    return true;
}

bool HostComputeEncoder::bindSampler(std::uint32_t index) {
    if (!m_samplers[index])
        return false;
    m_bindings.emplace_back(protocol::SamplerBinding{index, *m_samplers[index]});
    return true;
}

bool HostComputeEncoder::bindResources(std::uint32_t index) {
    const auto [first, last] = m_resources.equal_range(index);
    for (auto each = first; each != last; ++each) {
        const auto offset = static_cast<std::uint32_t>(each->second.offset);
        const auto& resource = each->second.resource;
        if (const auto* sampler = std::get_if<Sampler>(&resource)) {
            m_bindings.emplace_back(protocol::SamplerValue{index, offset, *sampler});
        } else if (const auto* texture = std::get_if<std::shared_ptr<Texture>>(&resource)) {
            const auto ours = std::dynamic_pointer_cast<HostTexture>(*texture);
            if (!ours)
                return false;
            m_bindings.emplace_back(protocol::TextureAddress{index, offset, ours->id()});
            m_commandBuffer->use(ours->registration());
        } else {
            const auto& place = std::get<ArgumentValue::Place>(resource);
            const auto ours = std::dynamic_pointer_cast<HostBuffer>(place.buffer);
            if (!ours || !isInside(*ours, place.offset, 1))
                return false;
            m_bindings.emplace_back(
                protocol::BufferAddress{index, offset, ours->id(), place.offset});
            m_commandBuffer->use(ours->registration());
        }
    }
    return true;
}

bool HostComputeEncoder::bindThreadgroupMemory(std::uint32_t index) {
    if (m_threadgroupBytes[index] == 0)
        return false;
    m_bindings.emplace_back(protocol::ThreadgroupBinding{index, m_threadgroupBytes[index]});
    return true;
}

void HostComputeEncoder::endEncoding() {
    if (const auto commandBuffer = std::move(m_commandBuffer))
        commandBuffer->encoderEnded();
}

// ---- blits --------------------------------------------------------------------------------------

void HostBlitEncoder::refuse(const std::string& what) {
    if (m_commandBuffer)
        m_commandBuffer->refuse(labelled(m_label, what));
}

void HostBlitEncoder::fill(std::shared_ptr<Buffer> buffer, Range range, std::uint8_t value) {
    const auto target = std::dynamic_pointer_cast<HostBuffer>(std::move(buffer));
    if (!target || !isInside(*target, range.offset, range.length))
        return refuse("fill outside a buffer");
    if (!m_commandBuffer || range.length == 0)
        return;
    m_commandBuffer->use(target->registration());
    m_commandBuffer->record(protocol::Fill{target->id(), range.offset, range.length, value},
                            nullptr);
}

void HostBlitEncoder::copy(std::shared_ptr<Buffer> source, std::size_t sourceOffset,
                           std::shared_ptr<Buffer> destination, std::size_t destinationOffset,
                           std::size_t length) {
    const auto from = std::dynamic_pointer_cast<HostBuffer>(std::move(source));
    const auto to = std::dynamic_pointer_cast<HostBuffer>(std::move(destination));
    if (!from || !to || !isInside(*from, sourceOffset, length) ||
        !isInside(*to, destinationOffset, length))
        return refuse("copy outside a buffer");
    if (!m_commandBuffer || length == 0)
        return;
    m_commandBuffer->use(from->registration());
    m_commandBuffer->use(to->registration());
    m_commandBuffer->record(
        protocol::Copy{from->id(), sourceOffset, to->id(), destinationOffset, length}, nullptr);
}

void HostBlitEncoder::generateMipmaps(std::shared_ptr<Texture> texture) {
    const auto target = std::dynamic_pointer_cast<HostTexture>(std::move(texture));
    if (!target)
        return refuse("mipmaps of no texture");
    if (!m_commandBuffer)
        return;
    m_commandBuffer->use(target->registration());
    m_commandBuffer->record(protocol::GenerateMipmaps{target->id()}, nullptr);
}

void HostBlitEncoder::endEncoding() {
    if (const auto commandBuffer = std::move(m_commandBuffer))
        commandBuffer->encoderEnded();
}

} // namespace gpu::host
