// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The console's side in tests of the service's life and death.
#pragma once

#include "gpu/WaitFor.h"
#include "gpu/host/HostDevice.h"

#include <gtest/gtest.h>

namespace test {

using Pipelines = std::vector<std::shared_ptr<gpu::ComputePipelineState>>;
using PipelineFuture = gpu::Awaited<gpu::ComputePipelineState>;

/// A device over the misbehaving service, with one shared buffer of 64 counters.
class Console : public ::testing::Test {
protected:
    static constexpr std::size_t counters = 64;

    explicit Console(const std::string& service = FAKE_COMPUTE,
                     const std::string& deviceName = "host");

    std::shared_ptr<gpu::ComputePipelineState> pipeline(const std::string& kernel,
                                                        const std::string& text = {});
    /// Asks for it and does not wait. The text is the kernel's name where it is left out.
    PipelineFuture startPipeline(const std::string& kernel, const std::string& text = {});
    /// Commits a command buffer "Render" that runs the kernels one after the other.
    std::shared_ptr<gpu::CommandBuffer>
    commit(const Pipelines& pipelines, std::function<void(gpu::CommandBuffer&)> completed = {},
           const std::shared_ptr<gpu::CommandBuffer>& needed = nullptr);
    /// The same, waited for.
    std::shared_ptr<gpu::CommandBuffer> run(const Pipelines& pipelines);
    std::uint32_t counter(std::size_t index = 0);
    gpu::host::HostDevice& hostDevice() { return dynamic_cast<gpu::host::HostDevice&>(*device); }
    /// Process id of the running service.
    pid_t servicePid();

    std::shared_ptr<gpu::Device> device;
    std::shared_ptr<gpu::CommandQueue> queue;
    std::shared_ptr<gpu::Buffer> buffer;
};

/// Process ids of the children of all threads of this process.
std::vector<pid_t> children();

void expectError(const gpu::CommandBuffer& commandBuffer, gpu::CommandBufferError::Code code,
                 const std::string& message, const std::string& kernel);

} // namespace test
