// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What every test of the conformance suite starts from. The parameter is the device's name as
// SL42_DEVICE takes it; the build runs the suite once for each kind of device.
#pragma once

#include "gpu/Device.h"
#include "gpu/WaitFor.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace test {

/// The one that SL42_DEVICE names; else the processor.
inline std::vector<std::string> deviceNames() {
    const char* name = std::getenv("SL42_DEVICE");
    return {name != nullptr ? name : "host"};
}

class DeviceTest : public ::testing::TestWithParam<std::string> {
protected:
    /// One device of each kind serves the whole suite.
    DeviceTest();

    /// Kernels run on the processor, which tells where a thread stands and what it reaches for. On
    /// a graphics device shaders are made so that nothing outside is reached, and where a thread
    /// stands is not known; the software driver ends every loop by itself.
    static bool isProcessor() { return GetParam() == "host"; }

    /// A program: the usual two lines and the body.
    static std::string text(const std::string& body);
    std::shared_ptr<gpu::Library> library(const std::string& body);
    /// Pipeline of the kernel `run`.
    std::shared_ptr<gpu::ComputePipelineState>
    pipeline(const std::string& body, const gpu::FunctionConstantValues& constants = {});

    template <class T>
    std::shared_ptr<gpu::Buffer> bufferOf(const std::vector<T>& values) {
        auto buffer = device->makeBuffer(values.size() * sizeof(T), gpu::StorageMode::Shared);
        std::memcpy(buffer->contents().data(), values.data(), values.size() * sizeof(T));
        return buffer;
    }
    /// What the buffer holds, also when it is private.
    template <class T>
    std::vector<T> valuesIn(const std::shared_ptr<gpu::Buffer>& buffer) {
        const auto shared = sharedCopy(buffer);
        std::vector<T> values(buffer->length() / sizeof(T));
        std::memcpy(values.data(), shared->contents().data(), values.size() * sizeof(T));
        return values;
    }

    using Encode = std::function<void(gpu::ComputeCommandEncoder&)>;
    using EncodeBlit = std::function<void(gpu::BlitCommandEncoder&)>;
    /// A command buffer "Test" with one encoder, committed and waited for.
    std::shared_ptr<gpu::CommandBuffer> run(const Encode& encode);
    std::shared_ptr<gpu::CommandBuffer> blit(const EncodeBlit& encode);
    /// Binds the buffers from index 0 and runs one thread for each of `threads`.
    std::shared_ptr<gpu::CommandBuffer>
    dispatch(const std::shared_ptr<gpu::ComputePipelineState>& pipeline,
             const std::vector<std::shared_ptr<gpu::Buffer>>& buffers, std::uint32_t threads);

    std::shared_ptr<gpu::Device> device;
    std::shared_ptr<gpu::CommandQueue> queue;

private:
    std::shared_ptr<gpu::Buffer> sharedCopy(const std::shared_ptr<gpu::Buffer>& buffer);
};

void expectCompleted(const gpu::CommandBuffer& commandBuffer);
void expectError(const gpu::CommandBuffer& commandBuffer, gpu::CommandBufferError::Code code,
                 const std::string& messageStart);

std::span<const std::byte> bytes(const auto& value) {
    return std::as_bytes(std::span(&value, 1));
}

} // namespace test

#define SL42_ON_EVERY_DEVICE(suite)                                                                \
    INSTANTIATE_TEST_SUITE_P(Devices, suite, ::testing::ValuesIn(test::deviceNames()),             \
                             [](const auto& info) { return info.param; })

#define SL42_ON_THE_PROCESSOR_ONLY()                                                               \
    if (!isProcessor())                                                                            \
    GTEST_SKIP() << "graphics devices reach nothing outside and do not tell lines"
