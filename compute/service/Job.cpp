// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/service/Job.h"

#include <algorithm>
#include <cstring>

namespace compute::service {

using platform::Error;
using platform::Result;

namespace {

class Resolver {
public:
    Resolver(const protocol::RunCommands& message, const Resources& resources,
             const Pipelines& pipelines, Job& job)
        : m_bindings(message.bindings),
          m_bytes(message.bytes.size()),
          m_resources(resources),
          m_pipelines(pipelines),
          m_job(job) {}

    /// Whether all bindings belonged to a dispatch.
    bool isDone() const { return m_bindings.empty(); }

    Result<Work> operator()(const protocol::Dispatch& dispatch) {
        DispatchWork work;
        work.kernel = m_pipelines.find(dispatch.pipeline);
        if (!work.kernel)
            return Error{"a pipeline is not known to the compute service"};
        if (dispatch.bindings > m_bindings.size())
            return Error{"arguments are missing"};
        work.threads = dispatch.threads;
        work.threadsPerThreadgroup = dispatch.threadsPerThreadgroup;
        if (work.kernel->description().worksInGroups && isTooLarge(dispatch.threadsPerThreadgroup))
            return Error{"kernel '" + work.kernel->description().name +
                         "' works in threadgroups of at most " + std::to_string(maxThreadsOfGroup) +
                         " threads"};
        if (dispatch.begin > dispatch.end || dispatch.end > dispatch.threads.width)
            return Error{"a part of a grid leaves it"};
        work.begin = dispatch.begin;
        work.end = dispatch.end;
        work.firstInline = m_job.inlineBindings.size();
        work.firstInsertion = m_job.insertions.size();
        for (const protocol::Binding& binding : m_bindings.first(dispatch.bindings))
            SL42_TRY_VOID(std::visit([&](const auto& b) { return bind(b, work); }, binding));
        m_bindings = m_bindings.subspan(dispatch.bindings);
        work.endOfInline = m_job.inlineBindings.size();
        work.endOfInsertions = m_job.insertions.size();
        return Work(std::move(work));
    }
    Result<Work> operator()(const protocol::Fill& fill) const {
        return Work(FillWork{SL42_TRY(rangeOf(fill.buffer, fill.offset, fill.length)), fill.value});
    }
    Result<Work> operator()(const protocol::Copy& copy) const {
        return Work(
            CopyWork{SL42_TRY(rangeOf(copy.source, copy.sourceOffset, copy.length)),
                     SL42_TRY(rangeOf(copy.destination, copy.destinationOffset, copy.length))});
    }
    Result<Work> operator()(const protocol::GenerateMipmaps& generate) const {
        return Work(MipmapWork{SL42_TRY(textureOf(generate.texture))});
    }

private:
    static bool isTooLarge(Extent group) {
        const std::uint64_t area = std::uint64_t{group.width} * group.height;
        return area > maxThreadsOfGroup || area * group.depth > maxThreadsOfGroup;
    }
    static Result<void> checkIndex(std::uint32_t index, ParameterKind kind) {
        if (index >= maxArguments(kind))
            return Error{"an argument index is too high"};
        return {};
    }
    Result<void> bind(const protocol::BufferBinding& binding, DispatchWork& work) {
        SL42_TRY_VOID(checkIndex(binding.index, ParameterKind::Buffer));
        auto range = SL42_TRY(rangeOf(binding.buffer, binding.offset, 1));
        work.bindings.buffers[binding.index] = range.bytes().data();
        m_job.used.push_back(std::move(range.memory));
        return {};
    }
    Result<void> bind(const protocol::InlineBinding& binding, DispatchWork&) {
        SL42_TRY_VOID(checkIndex(binding.index, ParameterKind::Buffer));
        if (binding.length > protocol::maxInlineBytes || binding.offset > m_bytes ||
            binding.length > m_bytes - binding.offset)
            return Error{"an argument by value is not there"};
        m_job.inlineBindings.push_back(binding);
        return {};
    }
    Result<void> bind(const protocol::TextureBinding& binding, DispatchWork& work) {
        SL42_TRY_VOID(checkIndex(binding.index, ParameterKind::Texture));
        auto texture = SL42_TRY(textureOf(binding.texture));
        work.bindings.textures[binding.index] = texture->viewOfKernels();
        use(*texture);
        return {};
    }
    Result<void> bind(const protocol::SamplerBinding& binding, DispatchWork&) {
        SL42_TRY_VOID(checkIndex(binding.index, ParameterKind::Sampler));
        insert(placeOfSamplers + binding.index * sizeof(SamplerRecord), recordOf(binding.sampler));
        return {};
    }
    Result<void> bind(const protocol::BufferAddress& binding, DispatchWork& work) {
        auto range = SL42_TRY(rangeOf(binding.buffer, binding.bufferOffset, 1));
        SL42_TRY_VOID(insertAddressAt(binding.index, binding.offset, range.bytes().data(), work));
        m_job.used.push_back(std::move(range.memory));
        return {};
    }
    Result<void> bind(const protocol::TextureAddress& binding, DispatchWork& work) {
        auto texture = SL42_TRY(textureOf(binding.texture));
        SL42_TRY_VOID(
            insertAddressAt(binding.index, binding.offset, texture->viewMemory->data(), work));
        use(*texture);
        return {};
    }
    Result<void> bind(const protocol::SamplerValue& binding, DispatchWork& work) {
        return insertAt(binding.index, binding.offset, recordOf(binding.sampler), work);
    }
    void use(const Texture& texture) {
        m_job.used.push_back(texture.memory);
        m_job.used.push_back(texture.viewMemory);
    }
    Result<void> insertAddressAt(std::uint32_t index, std::uint32_t offset, const std::byte* place,
                                 const DispatchWork& work) {
        return insertAt(index, offset, m_resources.device().addressOf(place), work);
    }
    /// Into an argument by value of this dispatch, which comes before.
    template <class T>
    Result<void> insertAt(std::uint32_t index, std::uint32_t offset, const T& value,
                          const DispatchWork& work) {
        const auto own = std::span(m_job.inlineBindings).subspan(work.firstInline);
        const auto found = std::ranges::find(own, index, &protocol::InlineBinding::index);
        if (found == own.end() || offset > found->length || sizeof value > found->length - offset)
            return Error{"a resource lies outside of its argument buffer"};
        insert(std::size_t{index} * protocol::maxInlineBytes + offset, value);
        return {};
    }
    template <class T>
    void insert(std::size_t place, const T& value) {
        Insertion insertion{.place = place, .length = sizeof value};
        static_assert(sizeof value <= sizeof insertion.bytes);
        std::memcpy(insertion.bytes.data(), &value, sizeof value);
        m_job.insertions.push_back(insertion);
    }
    static Result<void> bind(const protocol::ThreadgroupBinding& binding, DispatchWork& work) {
        SL42_TRY_VOID(checkIndex(binding.index, ParameterKind::ThreadgroupMemory));
        work.bindings.threadgroupBytes[binding.index] = binding.length;
        std::uint64_t all = 0;
        for (const std::uint32_t length : work.bindings.threadgroupBytes)
            all += (std::uint64_t{length} + 15) / 16 * 16;
        if (all > maxThreadgroupBytes)
            return Error{"threadgroup arguments are too long"};
        return {};
    }
    Result<MemoryRange> rangeOf(protocol::BufferId id, std::uint64_t offset,
                                std::uint64_t length) const {
        auto memory = SL42_TRY(m_resources.find(id));
        if (offset > memory->length() || length > memory->length() - offset)
            return Error{"a range leaves its buffer"};
        return MemoryRange{std::move(memory), offset, length};
    }
    Result<std::shared_ptr<Texture>> textureOf(protocol::TextureId id) const {
        return m_resources.find(id);
    }

    std::span<const protocol::Binding> m_bindings; ///< of the dispatches that are still to come
    std::size_t m_bytes;
    const Resources& m_resources;
    const Pipelines& m_pipelines;
    Job& m_job;
};

Result<void> resolveWork(const protocol::RunCommands& message, const Resources& resources,
                         const Pipelines& pipelines, Job& job) {
    Resolver resolver(message, resources, pipelines, job);
    for (const protocol::Command& command : message.commands)
        job.work.push_back(SL42_TRY(
            std::visit([&](const auto& c) -> Result<Work> { return resolver(c); }, command)));
    if (!resolver.isDone())
        return Error{"there are arguments without a dispatch"};
    return {};
}

} // namespace

void Job::clear() {
    work.clear();
    inlineBindings.clear();
    insertions.clear();
    bytes.clear();
    used.clear();
    error.clear();
}

void resolve(protocol::RunCommands& message, const Resources& resources, const Pipelines& pipelines,
             Job& job) {
    job.id = message.job;
    if (auto resolved = resolveWork(message, resources, pipelines, job); !resolved) {
        job.clear();
        job.error = std::move(resolved.error().message);
    }
    std::swap(job.bytes, message.bytes);
}

} // namespace compute::service
