// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "tests/compute/corpus/Session.h"

#include "compute/host/HostBackend.h"

#include <algorithm>
#include <array>
#include <fstream>
#include <sstream>

namespace corpus {
namespace {

using compute::memory::RegionVector;

platform::Error failure(const std::string& message) {
    return platform::Error{message};
}

/// Backends live as long as the process, because so do their worker threads.
const compute::host::HostBackend& backendOf(unsigned width) {
    static std::map<unsigned, compute::host::HostBackend> backends;
    const auto found = backends.find(width);
    if (found != backends.end())
        return found->second;
    compute::kernel::CompilerOptions options = *compute::kernel::CompilerOptions::fromEnvironment();
    options.lanes = width;
    const auto& made = backends.emplace(width, std::move(options)).first->second;
    made.warmUp();
    return made;
}

constexpr std::array<std::string_view, 7> kinds{"1d",   "2d",      "2d_array", "3d",
                                                "cube", "depth2d", "buffer"};

std::uint32_t halved(std::uint32_t extent, std::uint32_t level) {
    return std::max(1u, extent >> level);
}

/// The memory of one run.
class Memory {
public:
    explicit Memory(const Job& job) {
        for (const auto& [index, bytes] : job.buffers)
            m_buffers[index].assign(bytes.begin(), bytes.end());
        for (const auto& [index, image] : job.images)
            add(index, image);
        for (const auto& [index, sampler] : job.samplers)
            m_samplers[index] = {sampler};
        for (const auto& [index, members] : job.argumentBuffers)
            for (const Member& member : members)
                append(m_buffers[index], member);
    }

    compute::Bindings bindings() {
        compute::Bindings result;
        for (auto& [index, bytes] : m_buffers)
            result.buffers[index] = bytes.data();
        for (const auto& [index, view] : m_views)
            result.textures[index] = view.data();
        for (const auto& [index, record] : m_samplers)
            result.samplers[index] = record.data();
        return result;
    }

    Outcome outcome() const {
        Outcome result;
        for (const auto& [index, bytes] : m_buffers)
            result.buffers[index] = Bytes(bytes.begin(), bytes.end());
        for (const auto& [index, bytes] : m_pixels)
            result.images[index] = Bytes(bytes.begin(), bytes.end());
        return result;
    }

private:
    void add(std::uint32_t index, const Image& image) {
        auto& pixels = m_pixels[index];
        pixels.assign(image.pixels.begin(), image.pixels.end());
        auto& view = m_views[index];
        view.resize(1);
        view[0].format = image.format;
        view[0].levelCount = image.levels;
        view[0].arrayLength = image.kind == "2d_array" ? image.size.depth : 1;
        std::size_t offset = 0;
        for (std::uint32_t level = 0; level < image.levels; ++level) {
            const std::uint32_t width = halved(image.size.width, level);
            const std::uint32_t height = halved(image.size.height, level);
            const std::uint64_t row = width * compute::bytesPerPixel(image.format);
            const std::uint32_t slices =
                image.kind == "3d" ? halved(image.size.depth, level) : image.size.depth;
            view[0].levels[level] = {&pixels[offset], width, height, row};
            view[0].slices[level] = {slices, row * height};
            offset += row * height * slices;
        }
    }

    void append(RegionVector<std::byte>& to, const Member& member) const {
        if (!member.buffer) {
            to.insert(to.end(), member.bytes.begin(), member.bytes.end());
            return;
        }
        const std::byte* const address = m_buffers.at(*member.buffer).data();
        const auto* const first = reinterpret_cast<const std::byte*>(&address);
        to.insert(to.end(), first, first + sizeof address);
    }

    std::map<std::uint32_t, RegionVector<std::byte>> m_buffers;
    std::map<std::uint32_t, RegionVector<std::byte>> m_pixels;
    std::map<std::uint32_t, RegionVector<compute::TextureView>> m_views;
    std::map<std::uint32_t, RegionVector<compute::SamplerRecord>> m_samplers;
};

/// The name of the first parameter that the kernel uses and the job has nothing for.
std::optional<std::string> unbound(const compute::Kernel& kernel, const Job& job) {
    for (const compute::Parameter& p : kernel.description().parameters) {
        if (p.access == compute::Access::None)
            continue;
        if (p.kind == compute::ParameterKind::Buffer && !job.buffers.contains(p.index) &&
            !job.argumentBuffers.contains(p.index))
            return p.name;
        if (p.kind == compute::ParameterKind::Texture && !job.images.contains(p.index))
            return p.name;
    }
    return std::nullopt;
}

} // namespace

platform::Result<Session> Session::create(Job job) {
    for (const auto& [index, image] : job.images)
        if (std::ranges::find(kinds, image.kind) == kinds.end())
            return failure("textures of kind " + image.kind + " cannot be made here");
    std::ifstream file(job.file);
    std::ostringstream text;
    text << file.rdbuf();
    auto program = compute::metal::compile(text.str());
    if (!program)
        return program.error();
    if (program->kernels.empty())
        return failure("the text has no kernel");
    return Session(std::move(job), *std::move(program));
}

platform::Result<Outcome> Session::run(unsigned width) const {
    Memory memory(m_job);
    for (const Dispatch& dispatch : m_job.dispatches) {
        const std::string name =
            dispatch.kernel.empty() ? m_program.kernels.front().name : dispatch.kernel;
        auto kernel = backendOf(width).build(m_program, name, m_job.constants);
        if (!kernel)
            return kernel.error();
        if (const auto parameter = unbound(**kernel, m_job))
            return failure("nothing is bound to " + *parameter);
        (*kernel)->run(memory.bindings(), dispatch.grid, dispatch.group);
    }
    return memory.outcome();
}

} // namespace corpus
