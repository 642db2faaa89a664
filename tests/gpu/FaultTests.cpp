// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Kernels that do what they must not, compiled from text like any other.
#include "tests/gpu/DeviceTest.h"

using gpu::StorageMode;
using Code = gpu::CommandBufferError::Code;

namespace test {
namespace {

class FaultTest : public DeviceTest {
protected:
    void SetUp() override { buffer = device->makeBuffer(4096, StorageMode::Shared); }
    /// Other kernels run as before.
    void expectRecovered() {
        const auto good = pipeline("kernel void run(device uint* data [[buffer(0)]])"
                                   " { data[1] = data[1] + 1; }");
        expectCompleted(*dispatch(good, {buffer}, 1));
        EXPECT_EQ(valuesIn<std::uint32_t>(buffer)[1], 1u);
    }

    std::shared_ptr<gpu::Buffer> buffer;
};
SL42_ON_EVERY_DEVICE(FaultTest);

TEST_P(FaultTest, EndlessLoopIsStoppedAtTheLongerTimeLimit) {
    SL42_ON_THE_PROCESSOR_ONLY();
    device->setTimeLimit(std::chrono::milliseconds(300));
    for (const auto& [limit, message] :
         {std::pair(900, "ran longer than 0.9 s"), std::pair(100, "ran longer than 0.3 s")}) {
        const auto endless = pipeline("kernel void run(device uint* data [[buffer(0)]])"
                                      " { while (data[0] == 0) data[2] += 1; }");
        const auto commandBuffer = queue->makeCommandBuffer();
        commandBuffer->setTimeLimit(std::chrono::milliseconds(limit));
        const auto encoder = commandBuffer->makeComputeCommandEncoder();
        encoder->setComputePipelineState(endless);
        encoder->setBuffer(buffer, 0, 0);
        encoder->dispatchThreads({1, 1, 1}, {1, 1, 1});
        encoder->endEncoding();
        const auto start = std::chrono::steady_clock::now();
        commandBuffer->commit();
        commandBuffer->waitUntilCompleted();
        EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(limit));
        expectError(*commandBuffer, Code::TimeLimit,
                    std::string("Command buffer: kernel 'run' ") + message);
        EXPECT_TRUE(endless->isStopped());
        expectError(*dispatch(endless, {buffer}, 1), Code::PipelineStopped, "Test: kernel 'run'");
    }
    expectRecovered();
}

TEST_P(FaultTest, AccessFarOutsideABufferIsAnErrorAndHarmsNoOther) {
    SL42_ON_THE_PROCESSOR_ONLY();
    const auto neighbours = bufferOf(std::vector<std::uint32_t>(1024, 7));
    // The last one faults late, on whichever core has the end of the grid.
    for (const char* index : {"0x7fffffffu", "0xffffffffu", "i * 0x01000000u + 0x10000000u",
                              "i < 99000u ? 8u : 0x7fffffffu"}) {
        const auto wild = pipeline("kernel void run(device float4* data [[buffer(0)]],"
                                   " device float4* other [[buffer(1)]],"
                                   " uint i [[thread_position_in_grid]]) { data[" +
                                   std::string(index) + "] = other[0] + 1; }");
        expectError(*dispatch(wild, {buffer, neighbours}, 100'000), Code::KernelFault,
                    "Test: kernel 'run' accessed memory outside its buffers");
    }
    EXPECT_EQ(valuesIn<std::uint32_t>(neighbours), std::vector<std::uint32_t>(1024, 7));
    expectRecovered();
}

TEST_P(FaultTest, AStoppedKernelTakesNoBindingsFromOthers) {
    SL42_ON_THE_PROCESSOR_ONLY();
    device->setTimeLimit(std::chrono::milliseconds(200));
    const auto endless =
        pipeline("kernel void run(device uint* data [[buffer(0)]], device uint* more [[buffer(3)]],"
                 " constant uint& by [[buffer(5)]]) { while (data[0] == 0) more[2] += by; }");
    const auto add = pipeline("kernel void run(device uint* sum [[buffer(1)]],"
                              " constant uint& by [[buffer(2)]]) { sum[0] += by; }");
    const auto sums = bufferOf(std::vector<std::uint32_t>{1, 2});
    const auto encodeEndless = [&](gpu::ComputeCommandEncoder& encoder) {
        const std::uint32_t none = 0;
        encoder.setComputePipelineState(endless);
        encoder.setBuffer(buffer, 0, 0);
        encoder.setBuffer(buffer, 16, 3);
        encoder.setBytes(bytes(none), 5);
        encoder.dispatchThreads({1, 1, 1}, {1, 1, 1});
    };
    expectError(*run(encodeEndless), Code::TimeLimit, "Test: kernel 'run'");
    const auto both = run([&](gpu::ComputeCommandEncoder& encoder) {
        for (const std::uint32_t by : {10U, 20U}) {
            encodeEndless(encoder);
            encoder.setComputePipelineState(add);
            encoder.setBuffer(sums, by == 10 ? 0 : 4, 1);
            encoder.setBytes(bytes(by), 2);
            encoder.dispatchThreads({1, 1, 1}, {1, 1, 1});
        }
    });
    expectError(*both, Code::PipelineStopped, "Test: kernel 'run'");
    EXPECT_EQ(valuesIn<std::uint32_t>(sums), (std::vector<std::uint32_t>{11, 22}));
}

} // namespace
} // namespace test
