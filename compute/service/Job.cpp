// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/service/Job.h"

namespace compute::service {

using platform::Error;
using platform::Result;

namespace {

class Resolver {
public:
    Resolver(const Resources& resources, const Pipelines& pipelines)
        : m_resources(resources), m_pipelines(pipelines) {}

    Result<Work> operator()(protocol::Dispatch& dispatch) const {
        DispatchWork work{m_pipelines.find(dispatch.pipeline), std::move(dispatch), {}, {}};
        if (!work.kernel)
            return Error{"a pipeline is not known to the compute service"};
        for (const protocol::BufferBinding& binding : work.dispatch.buffers) {
            const auto range = SL42_TRY(rangeOf(binding.buffer, binding.offset, 1));
            work.buffers.push_back(range.memory);
        }
        for (const protocol::TextureBinding& binding : work.dispatch.textures)
            work.textures.push_back(SL42_TRY(textureOf(binding.texture)));
        const auto fits = [](const auto& bindings) {
            for (const auto& binding : bindings)
                if (binding.index >= protocol::maxBindings)
                    return false;
            return true;
        };
        if (!fits(work.dispatch.buffers) || !fits(work.dispatch.inlineBytes) ||
            !fits(work.dispatch.textures))
            return Error{"an argument index is too high"};
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
    Result<MemoryRange> rangeOf(protocol::BufferId id, std::uint64_t offset,
                                std::uint64_t length) const {
        auto memory = m_resources.find(id);
        if (!memory)
            return Error{"a buffer is not known to the compute service"};
        if (offset > memory->length() || length > memory->length() - offset)
            return Error{"a range leaves its buffer"};
        return MemoryRange{std::move(memory), offset, length};
    }
    Result<std::shared_ptr<Texture>> textureOf(protocol::TextureId id) const {
        auto texture = m_resources.find(id);
        if (!texture)
            return Error{"a texture is not known to the compute service"};
        return texture;
    }

    const Resources& m_resources;
    const Pipelines& m_pipelines;
};

} // namespace

Result<Job> resolve(protocol::RunCommands message, const Resources& resources,
                    const Pipelines& pipelines) {
    Job job{message.job, {}, {}};
    job.work.reserve(message.commands.size());
    for (protocol::Command& command : message.commands)
        job.work.push_back(SL42_TRY(std::visit(
            [&](auto& c) -> Result<Work> { return Resolver(resources, pipelines)(c); }, command)));
    return job;
}

} // namespace compute::service
