// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Runs one program after another on one device, as a console does whose user saves them, and says
// what must not have happened.
#pragma once

#include "gpu/Device.h"
#include "gpu/WaitFor.h"

#include <array>
#include <cstddef>
#include <map>
#include <optional>
#include <string>

namespace mutants {

/// How programs ended.
struct Counts {
    std::size_t programs = 0;
    std::size_t compiled = 0;
    std::size_t kernels = 0; ///< that ran
    std::size_t completed = 0;
    std::map<std::string, std::size_t> errors; ///< of kernels that ran, by what they did
    std::size_t refusedKernels = 0;            ///< kernels of programs that compiled, but do not
};

/// One thread. The device is the system's.
class Trial {
public:
    /// None, with a line on standard error, when there is no device.
    static std::optional<Trial> create();

    /// Asks for a program that will be run soon.
    gpu::Awaited<gpu::Library> start(std::string text);
    /// Runs each kernel of the program for a small frame, then a correct one. Nothing, or one line
    /// for each thing that must not have happened.
    std::string run(const std::string& text, gpu::Awaited<gpu::Library> program);

    const Counts& counts() const { return m_counts; }

private:
    Trial() = default;
    bool makeReference();
    std::string runKernels(const std::string& text, gpu::Library& library);
    std::string runKernel(const std::shared_ptr<gpu::ComputePipelineState>& pipeline,
                          const std::vector<gpu::Argument>& arguments);
    /// Whether the correct program still draws what it drew at first.
    std::string checkReference();
    std::string checkNewReference();
    std::shared_ptr<gpu::CommandBuffer>
    draw(const std::shared_ptr<gpu::ComputePipelineState>& pipeline);

    std::shared_ptr<gpu::Device> m_device;
    std::shared_ptr<gpu::CommandQueue> m_queue;
    std::map<std::uint32_t, std::shared_ptr<gpu::Buffer>> m_buffers;
    std::shared_ptr<gpu::Texture> m_texture;
    std::shared_ptr<gpu::ComputePipelineState> m_reference;
    std::shared_ptr<gpu::Buffer> m_picture;
    std::vector<std::byte> m_expected;
    Counts m_counts;
};

} // namespace mutants
