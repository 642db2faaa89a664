// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The corpus on a Vulkan device: the same sessions as on the host, with shaders instead of machine
// code. The width of vectors means nothing here.
#include "compute/backend/TextureView.h"
#include "compute/spirv/ShaderBackend.h"
#include "compute/spirv/Validation.h"
#include "tests/compute/corpus/Session.h"
#include "tests/compute/spirv/ShaderRunner.h"

#include <cstring>
#include <fstream>
#include <sstream>

namespace corpus {
namespace {

using compute::spirv::BufferRecord;
using tests::ShaderRunner;

platform::Result<ShaderRunner*> runner() {
    static const auto made = ShaderRunner::create();
    if (!made)
        return made.error();
    return made->get();
}

std::uint32_t halved(std::uint32_t extent, std::uint32_t level) {
    return std::max(1u, extent >> level);
}

/// The memory of one run, on the device.
class Memory {
public:
    Memory(ShaderRunner& runner, const Job& job) : m_runner(runner) {
        for (const auto& [index, bytes] : job.buffers)
            m_arguments.bindings[index] = (m_buffers[index] = placed(bytes)).record();
        for (const auto& [index, image] : job.images)
            add(index, image);
        for (const auto& [index, sampler] : job.samplers)
            bind(compute::kernel::firstSamplerSlot + index, placed(bytesOf(sampler)));
        for (const auto& [index, members] : job.argumentBuffers) {
            Bytes all;
            for (const Member& member : members) {
                const Bytes bytes =
                    member.buffer ? bytesOf(m_buffers.at(*member.buffer).address) : member.bytes;
                all.insert(all.end(), bytes.begin(), bytes.end());
            }
            bind(index, m_buffers[index] = placed(all));
        }
    }

    const ShaderRunner::Arguments& arguments() const { return m_arguments; }

    Outcome outcome() const {
        Outcome result;
        for (const auto& [index, piece] : m_buffers)
            result.buffers[index] = Bytes(piece.bytes.begin(), piece.bytes.end());
        for (const auto& [index, piece] : m_pixels)
            result.images[index] = Bytes(piece.bytes.begin(), piece.bytes.end());
        return result;
    }

private:
    template <class T>
    static Bytes bytesOf(const T& value) {
        Bytes bytes(sizeof value);
        std::memcpy(bytes.data(), &value, sizeof value);
        return bytes;
    }

    ShaderRunner::Piece placed(const Bytes& bytes) {
        const ShaderRunner::Piece piece = m_runner.allocate(bytes.size());
        std::ranges::copy(bytes, piece.bytes.begin());
        m_arguments.memory.push_back(piece.record());
        return piece;
    }

    void bind(unsigned slot, const ShaderRunner::Piece& piece) {
        m_arguments.bindings[slot] = piece.record();
    }

    void add(std::uint32_t index, const Image& image) {
        const ShaderRunner::Piece pixels = m_pixels[index] = placed(image.pixels);
        compute::TextureView view;
        view.format = image.format;
        view.levelCount = image.levels;
        view.arrayLength = image.kind == "2d_array" ? image.size.depth : 1;
        std::uint64_t address = pixels.address;
        for (std::uint32_t level = 0; level < image.levels; ++level) {
            const std::uint32_t width = halved(image.size.width, level);
            const std::uint32_t height = halved(image.size.height, level);
            const std::uint64_t row = width * compute::bytesPerPixel(image.format);
            const std::uint32_t slices =
                image.kind == "3d" ? halved(image.size.depth, level) : image.size.depth;
            view.levels[level] = {reinterpret_cast<std::byte*>(address), width, height, row};
            view.slices[level] = {slices, row * height};
            address += row * height * slices;
        }
        bind(compute::kernel::firstTextureSlot + index, placed(bytesOf(view)));
    }

    ShaderRunner& m_runner;
    ShaderRunner::Arguments m_arguments;
    std::map<std::uint32_t, ShaderRunner::Piece> m_buffers;
    std::map<std::uint32_t, ShaderRunner::Piece> m_pixels;
};

} // namespace

platform::Result<Session> Session::create(Job job) {
    std::ifstream file(job.file);
    std::ostringstream text;
    text << file.rdbuf();
    auto program = compute::metal::compile(text.str());
    if (!program)
        return program.error();
    if (program->kernels.empty())
        return platform::Error{"the text has no kernel"};
    return Session(std::move(job), *std::move(program));
}

platform::Result<Outcome> Session::run(unsigned) const {
    ShaderRunner& device = *SL42_TRY(runner());
    device.reset();
    Memory memory(device, m_job);
    const auto options = SL42_TRY(compute::kernel::CompilerOptions::fromEnvironment());
    for (const Dispatch& dispatch : m_job.dispatches) {
        const std::string name =
            dispatch.kernel.empty() ? m_program.kernels.front().name : dispatch.kernel;
        const auto kernel = SL42_TRY(compute::spirv::translate(m_program, name, m_job.constants,
                                                               device.features(), options));
        SL42_TRY_VOID(compute::spirv::validate(kernel.shader.words));
        SL42_TRY_VOID(device.run(kernel.shader, memory.arguments(), dispatch.grid, dispatch.group));
    }
    return memory.outcome();
}

} // namespace corpus
