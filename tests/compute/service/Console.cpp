// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "tests/compute/service/Console.h"

#include <cstring>
#include <filesystem>
#include <fstream>

namespace test {

Console::Console(const std::string& service, const std::string& deviceName)
    : device(gpu::host::HostDevice::create(service, deviceName)),
      queue(device->makeCommandQueue()),
      buffer(device->makeBuffer(counters * 4, gpu::StorageMode::Shared)) {}

std::shared_ptr<gpu::ComputePipelineState> Console::pipeline(const std::string& kernel,
                                                             const std::string& text) {
    auto made = startPipeline(kernel, text).get();
    if (!made)
        throw std::runtime_error(made.error().message);
    return *made;
}

PipelineFuture Console::startPipeline(const std::string& kernel, const std::string& text) {
    auto library = gpu::waitForLibrary(*device, text.empty() ? kernel : text);
    if (!library)
        throw std::runtime_error(library.error().message);
    auto function = (*library)->makeFunction(kernel);
    if (!function)
        throw std::runtime_error(function.error().message);
    return gpu::startPipeline(*device, *function);
}

std::shared_ptr<gpu::CommandBuffer>
Console::commit(const Pipelines& pipelines, std::function<void(gpu::CommandBuffer&)> completed,
                const std::shared_ptr<gpu::CommandBuffer>& needed) {
    auto commandBuffer = queue->makeCommandBuffer();
    commandBuffer->setLabel("Render");
    if (needed)
        commandBuffer->setNeeds(needed);
    auto encoder = commandBuffer->makeComputeCommandEncoder();
    encoder->setBuffer(buffer, 0, 0);
    for (const auto& pipeline : pipelines) {
        encoder->setComputePipelineState(pipeline);
        encoder->dispatchThreads({counters, 1, 1}, {counters, 1, 1});
    }
    encoder->endEncoding();
    if (completed)
        commandBuffer->addCompletedHandler(std::move(completed));
    commandBuffer->commit();
    return commandBuffer;
}

std::shared_ptr<gpu::CommandBuffer> Console::run(const Pipelines& pipelines) {
    auto commandBuffer = commit(pipelines);
    commandBuffer->waitUntilCompleted();
    return commandBuffer;
}

std::uint32_t Console::counter(std::size_t index) {
    std::uint32_t value = 0;
    std::memcpy(&value, buffer->contents().data() + 4 * index, sizeof value);
    return value;
}

pid_t Console::servicePid() {
    // A new text each time keeps the cache away; once it is compiled, the service runs.
    static int number = 0;
    if (auto library = gpu::waitForLibrary(*device, "count w" + std::to_string(++number)); !library)
        throw std::runtime_error(library.error().message);
    const std::vector<pid_t> services = children();
    if (services.size() != 1)
        throw std::runtime_error(std::to_string(services.size()) + " services");
    return services[0];
}

std::vector<pid_t> children() {
    std::vector<pid_t> found;
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
        std::ifstream list(task.path() / "children");
        for (pid_t child = 0; list >> child;)
            found.push_back(child);
    }
    return found;
}

void expectError(const gpu::CommandBuffer& commandBuffer, gpu::CommandBufferError::Code code,
                 const std::string& message, const std::string& kernel) {
    ASSERT_EQ(commandBuffer.status(), gpu::CommandBufferStatus::Error);
    const auto error = commandBuffer.error();
    ASSERT_TRUE(error);
    EXPECT_EQ(error->code, code);
    EXPECT_EQ(error->message, message);
    EXPECT_EQ(error->kernel, kernel);
}

} // namespace test
