// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "tests/gpu/DeviceTest.h"

#include <cstdlib>
#include <map>

namespace test {

namespace {

std::shared_ptr<gpu::Device> deviceNamed(const std::string& name) {
    static std::map<std::string, std::shared_ptr<gpu::Device>> devices;
    auto& device = devices[name];
    if (!device) {
        ::setenv("SL42_COMPUTE", BUILT_SERVICE, 0);
        ::setenv("SL42_DEVICE", name.c_str(), 1);
        device = gpu::Device::systemDefault();
    }
    return device;
}

template <class T>
T orThrow(gpu::Result<T> result) {
    if (!result)
        throw std::runtime_error(result.error().message);
    return *std::move(result);
}

} // namespace

DeviceTest::DeviceTest() : device(deviceNamed(GetParam())), queue(device->makeCommandQueue()) {
    device->setTimeLimit(std::chrono::seconds(10));
}

std::string DeviceTest::text(const std::string& body) {
    return "#include <metal_stdlib>\nusing namespace metal;\n" + body;
}

std::shared_ptr<gpu::Library> DeviceTest::library(const std::string& body) {
    return orThrow(gpu::waitForLibrary(*device, text(body)));
}

std::shared_ptr<gpu::ComputePipelineState>
DeviceTest::pipeline(const std::string& body, const gpu::FunctionConstantValues& constants) {
    const auto function = orThrow(library(body)->makeFunction("run", constants));
    return orThrow(gpu::waitForPipeline(*device, function));
}

/// Encodes with what `make` gives, commits and waits.
template <class Encoder>
static std::shared_ptr<gpu::CommandBuffer>
submit(gpu::CommandQueue& queue, std::shared_ptr<Encoder> (gpu::CommandBuffer::*make)(),
       const std::function<void(Encoder&)>& encode) {
    auto commandBuffer = queue.makeCommandBuffer();
    commandBuffer->setLabel("Test");
    auto encoder = ((*commandBuffer).*make)();
    encode(*encoder);
    encoder->endEncoding();
    commandBuffer->commit();
    commandBuffer->waitUntilCompleted();
    return commandBuffer;
}

std::shared_ptr<gpu::CommandBuffer> DeviceTest::run(const Encode& encode) {
    return submit(*queue, &gpu::CommandBuffer::makeComputeCommandEncoder, encode);
}

std::shared_ptr<gpu::CommandBuffer> DeviceTest::blit(const EncodeBlit& encode) {
    return submit(*queue, &gpu::CommandBuffer::makeBlitCommandEncoder, encode);
}

std::shared_ptr<gpu::CommandBuffer>
DeviceTest::dispatch(const std::shared_ptr<gpu::ComputePipelineState>& pipeline,
                     const std::vector<std::shared_ptr<gpu::Buffer>>& buffers,
                     std::uint32_t threads) {
    return run([&](gpu::ComputeCommandEncoder& encoder) {
        encoder.setComputePipelineState(pipeline);
        encoder.setBuffers(buffers, 0);
        encoder.dispatchThreads({threads, 1, 1}, {64, 1, 1});
    });
}

std::shared_ptr<gpu::Buffer> DeviceTest::sharedCopy(const std::shared_ptr<gpu::Buffer>& buffer) {
    if (buffer->storageMode() == gpu::StorageMode::Shared)
        return buffer;
    auto shared = device->makeBuffer(buffer->length(), gpu::StorageMode::Shared);
    expectCompleted(*blit([&](gpu::BlitCommandEncoder& encoder) {
        encoder.copy(buffer, 0, shared, 0, buffer->length());
    }));
    return shared;
}

void expectCompleted(const gpu::CommandBuffer& commandBuffer) {
    const auto error = commandBuffer.error();
    EXPECT_EQ(commandBuffer.status(), gpu::CommandBufferStatus::Completed)
        << (error ? error->message : "");
}

void expectError(const gpu::CommandBuffer& commandBuffer, gpu::CommandBufferError::Code code,
                 const std::string& messageStart) {
    ASSERT_EQ(commandBuffer.status(), gpu::CommandBufferStatus::Error);
    const auto error = commandBuffer.error();
    ASSERT_TRUE(error);
    EXPECT_EQ(error->code, code);
    EXPECT_TRUE(error->message.starts_with(messageStart)) << error->message;
}

} // namespace test
