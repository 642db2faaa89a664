// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "bench/DeviceSubject.h"

#include "gpu/Library.h"
#include "gpu/WaitFor.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace bench {
namespace {

/// Of a process and all that it has started: nanoseconds.
double processorTimeOf(const std::string& process) {
    double sum = 0;
    std::error_code gone;
    for (const auto& task :
         std::filesystem::directory_iterator("/proc/" + process + "/task", gone)) {
        double time = 0;
        if (std::ifstream(task.path() / "schedstat") >> time)
            sum += time;
        std::ifstream children(task.path() / "children");
        for (std::string child; children >> child;)
            sum += processorTimeOf(child);
    }
    return sum;
}

class DeviceSubject final : public Subject {
public:
    DeviceSubject(gpu::Device& device, std::shared_ptr<gpu::ComputePipelineState> pipeline,
                  const BenchKernel& what)
        : m_device(device),
          m_queue(device.makeCommandQueue()),
          m_pipeline(std::move(pipeline)),
          m_memory(device.makeBuffer(memoryBytes, gpu::StorageMode::Shared)),
          m_grid{what.width, what.height, 1} {
        what.fill(m_memory->contents());
    }

    std::string device() const override { return m_device.name(); }
    void draw(const Frame& frame) override {
        const auto commands = m_queue->makeCommandBuffer();
        const auto encoder = commands->makeComputeCommandEncoder();
        encoder->setComputePipelineState(m_pipeline);
        encoder->setBuffer(m_memory, 0, 0);
        encoder->setBytes(std::as_bytes(std::span(&frame, 1)), 1);
        encoder->dispatchThreads(m_grid, {32, 1, 1});
        encoder->endEncoding();
        commands->commit();
        commands->waitUntilCompleted();
        if (const auto error = commands->error()) { // a time that means nothing is not told
            std::fprintf(stderr, "%s\n", error->message.c_str());
            std::exit(1);
        }
    }
    std::span<const std::byte> memory() override { return m_memory->contents(); }
    double processorMilliseconds() const override { return processorTimeOf("self") / 1e6; }

private:
    gpu::Device& m_device;
    const std::shared_ptr<gpu::CommandQueue> m_queue;
    const std::shared_ptr<gpu::ComputePipelineState> m_pipeline;
    const std::shared_ptr<gpu::Buffer> m_memory;
    const gpu::Extent m_grid;
};

} // namespace

platform::Result<std::unique_ptr<Subject>> makeDeviceSubject(const BenchKernel& kernel,
                                                             gpu::Device& device) {
    const auto library = gpu::waitForLibrary(device, kernel.text);
    if (!library)
        return platform::Error{library.error().message};
    const auto function = (*library)->makeFunction(kernel.name);
    if (!function)
        return platform::Error{function.error().message};
    const auto pipeline = gpu::waitForPipeline(device, *function);
    if (!pipeline)
        return platform::Error{pipeline.error().message};
    return std::unique_ptr<Subject>(std::make_unique<DeviceSubject>(device, *pipeline, kernel));
}

} // namespace bench
