// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "tests/gpu/DeviceTest.h"

#include <atomic>
#include <thread>

using gpu::CommandBufferStatus;
using gpu::StorageMode;
using Code = gpu::CommandBufferError::Code;

namespace test {
namespace {

class CommandBufferTest : public DeviceTest {
protected:
    // Not commutative, so that the order shows.
    const std::string step = "kernel void run(device uint* data [[buffer(0)]],"
                             " constant uint& number [[buffer(1)]],"
                             " uint i [[thread_position_in_grid]])"
                             " { data[i] = data[i] * 31u + number; }";
    const std::shared_ptr<gpu::ComputePipelineState> kernel = pipeline(step);

    void encodeStep(gpu::ComputeCommandEncoder& encoder, const std::shared_ptr<gpu::Buffer>& buffer,
                    std::uint32_t number, std::size_t offset = 0) const {
        encoder.setComputePipelineState(kernel);
        encoder.setBuffer(buffer, offset, 0);
        encoder.setBytes(bytes(number), 1);
        encoder.dispatchThreads({static_cast<std::uint32_t>(buffer->length() / 4), 1, 1},
                                {64, 1, 1});
    }
};
SL42_ON_EVERY_DEVICE(CommandBufferTest);

TEST_P(CommandBufferTest, RunInTheOrderOfTheirCommits) {
    const auto buffer = device->makeBuffer(4 * 1000, StorageMode::Shared);
    std::uint32_t expected = 0;
    std::shared_ptr<gpu::CommandBuffer> last;
    for (std::uint32_t number = 0; number < 100; ++number) {
        last = queue->makeCommandBuffer();
        auto encoder = last->makeComputeCommandEncoder();
        for (const std::uint32_t value : {number, number + 1000}) {
            encodeStep(*encoder, buffer, value);
            expected = expected * 31 + value;
        }
        encoder->endEncoding();
        last->commit();
    }
    last->waitUntilCompleted();
    EXPECT_EQ(valuesIn<std::uint32_t>(buffer), std::vector<std::uint32_t>(1000, expected));
}

TEST_P(CommandBufferTest, HandlersRunInOrderBeforeTheWaitEnds) {
    const auto commandBuffer = queue->makeCommandBuffer();
    std::string calls;
    std::thread::id thread;
    for (const char* name : {"a", "b"})
        commandBuffer->addCompletedHandler([&, name](gpu::CommandBuffer& completed) {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            EXPECT_EQ(completed.status(), CommandBufferStatus::Completed);
            calls += name;
            thread = std::this_thread::get_id();
        });
    EXPECT_EQ(commandBuffer->status(), CommandBufferStatus::NotCommitted);
    commandBuffer->commit();
    commandBuffer->commit(); // once is enough
    commandBuffer->waitUntilCompleted();
    EXPECT_EQ(calls, "ab");
    EXPECT_NE(thread, std::this_thread::get_id());
}

TEST_P(CommandBufferTest, OneEncoderIsOpenAtATime) {
    const auto commandBuffer = queue->makeCommandBuffer();
    const auto encoder = commandBuffer->makeComputeCommandEncoder();
    EXPECT_FALSE(commandBuffer->makeComputeCommandEncoder());
    EXPECT_FALSE(commandBuffer->makeBlitCommandEncoder());
    encoder->endEncoding();
    EXPECT_TRUE(commandBuffer->makeBlitCommandEncoder());
    commandBuffer->commit();
    EXPECT_FALSE(commandBuffer->makeComputeCommandEncoder());
    commandBuffer->waitUntilCompleted();
    expectCompleted(*commandBuffer);
}

TEST_P(CommandBufferTest, MissingArgumentsAreNamedAndTheCommandsBeforeThemRun) {
    const auto buffer = device->makeBuffer(4, StorageMode::Shared);
    expectError(*run([&](gpu::ComputeCommandEncoder& encoder) {
        encodeStep(encoder, buffer, 5);
        encoder.setBuffer(nullptr, 0, 1);
        encoder.dispatchThreads({1, 1, 1}, {1, 1, 1});
    }),
                Code::InvalidCommand, "Test: kernel 'run' needs buffer 1 ('number')");
    EXPECT_EQ(valuesIn<std::uint32_t>(buffer)[0], 5u);

    expectError(*run([&](auto& encoder) { encodeStep(encoder, buffer, 5, 4); }), // at the end
                Code::InvalidCommand, "Test: kernel 'run' needs buffer 0 ('data')");
    expectError(*run([&](auto& encoder) { encoder.dispatchThreads({1, 1, 1}, {1, 1, 1}); }),
                Code::InvalidCommand, "Test: ");
    expectError(*run([&](auto& encoder) { encoder.setBytes(std::vector<std::byte>(4097), 0); }),
                Code::InvalidCommand, "Test: ");
}

class PresentCounter final : public gpu::Drawable {
public:
    explicit PresentCounter(std::atomic<int>& count) : m_count(count) {}
    std::shared_ptr<gpu::Texture> texture() override { return nullptr; }
    void present() override { ++m_count; }

private:
    std::atomic<int>& m_count;
};

TEST_P(CommandBufferTest, DrawablesArePresentedUnlessTheWorkFailed) {
    std::atomic<int> presented = 0;
    for (const bool failing : {false, true}) {
        const auto commandBuffer = queue->makeCommandBuffer();
        auto encoder = commandBuffer->makeBlitCommandEncoder();
        if (failing)
            encoder->fill(nullptr, {0, 1}, 0);
        encoder->endEncoding();
        commandBuffer->present(std::make_shared<PresentCounter>(presented));
        commandBuffer->commit();
        commandBuffer->waitUntilCompleted();
        EXPECT_EQ(presented, 1);
    }
}

TEST_P(CommandBufferTest, SeveralThreadsMayCommitAndCompileAtOnce) {
    std::vector<std::thread> threads;
    for (std::uint32_t t = 0; t < 4; ++t)
        threads.emplace_back([&, t] {
            const auto buffer = device->makeBuffer(4, StorageMode::Shared);
            std::uint32_t expected = 0;
            for (int i = 0; i < 25; ++i) {
                const auto commandBuffer = queue->makeCommandBuffer();
                const auto encoder = commandBuffer->makeComputeCommandEncoder();
                encodeStep(*encoder, buffer, 1);
                expected = expected * 31 + 1;
                encoder->endEncoding();
                commandBuffer->commit();
                if (i == 10)
                    EXPECT_TRUE(gpu::waitForLibrary(*device, "// " + std::to_string(t)));
                if (i == 24)
                    commandBuffer->waitUntilCompleted();
            }
            std::uint32_t value = 0;
            std::memcpy(&value, buffer->contents().data(), 4);
            EXPECT_EQ(value, expected);
        });
    for (std::thread& thread : threads)
        thread.join();
}

} // namespace
} // namespace test
