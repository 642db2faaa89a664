// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "tests/gpu/DeviceTest.h"

#include <numeric>

using gpu::StorageMode;

namespace test {
namespace {

class BufferTest : public DeviceTest {
protected:
    const std::string increment = "kernel void run(device uint* data [[buffer(0)]],"
                                  " uint i [[thread_position_in_grid]]) { data[i] += 1 + i; }";
};
SL42_ON_EVERY_DEVICE(BufferTest);

TEST_P(BufferTest, BothModesStartAtZeroAndKeepWhatKernelsWrite) {
    const auto kernel = pipeline(increment);
    for (const StorageMode mode : {StorageMode::Shared, StorageMode::Private}) {
        constexpr std::uint32_t count = 5000; // no multiple of a page or of a vector
        const auto buffer = device->makeBuffer(count * 4, mode);
        ASSERT_TRUE(buffer);
        EXPECT_EQ(buffer->contents().empty(), mode == StorageMode::Private);
        EXPECT_EQ(valuesIn<std::uint32_t>(buffer), std::vector<std::uint32_t>(count));
        expectCompleted(*dispatch(kernel, {buffer}, count));
        std::vector<std::uint32_t> expected(count);
        std::iota(expected.begin(), expected.end(), 1);
        EXPECT_EQ(valuesIn<std::uint32_t>(buffer), expected);
    }
}

TEST_P(BufferTest, OffsetsAndBytesByValue) {
    const auto kernel = pipeline(
        "struct Pair { uint a; float b; };"
        "kernel void run(device float* out [[buffer(0)]], constant Pair& pair [[buffer(1)]],"
        " constant uchar& step [[buffer(30)]], uint i [[thread_position_in_grid]])"
        " { out[i] = pair.a + pair.b * float(i) + float(step); }");
    const auto buffer = device->makeBuffer(64, StorageMode::Shared);
    struct {
        std::uint32_t a;
        float b;
    } pair{3, 0.5f};
    const auto commandBuffer = run([&](gpu::ComputeCommandEncoder& encoder) {
        encoder.setComputePipelineState(kernel);
        encoder.setBuffer(buffer, 16, 0);
        encoder.setBytes(bytes(pair), 1);
        encoder.setBytes(bytes(std::uint8_t{7}), 30);
        pair.a = 1000; // already copied
        encoder.dispatchThreads({4, 1, 1}, {4, 1, 1});
        encoder.setBuffer(buffer, 48, 0);
        encoder.setBytes(bytes(std::uint8_t{9}), 30);
        encoder.dispatchThreads({2, 1, 1}, {4, 1, 1});
    });
    expectCompleted(*commandBuffer);
    EXPECT_EQ(valuesIn<float>(buffer),
              (std::vector<float>{0, 0, 0, 0, 10, 10.5f, 11, 11.5f, 0, 0, 0, 0, 12, 12.5f, 0, 0}));
}

TEST_P(BufferTest, NumbersLieWhereverTheyMay) {
    const auto kernel = pipeline("kernel void run(device uint* out [[buffer(0)]],"
                                 " device const uchar* in [[buffer(1)]],"
                                 " uint i [[thread_position_in_grid]])"
                                 " { out[i] = in[4 * i + 1]; out[3] = in[12] + 100; }");
    std::vector<std::uint8_t> numbers(512);
    std::iota(numbers.begin(), numbers.end(), 0);
    const auto from = bufferOf(numbers);
    for (const std::uint32_t offset : {4, 12, 60, 252}) {
        SCOPED_TRACE(offset);
        const auto to = device->makeBuffer(512, StorageMode::Shared);
        expectCompleted(*run([&](gpu::ComputeCommandEncoder& encoder) {
            encoder.setComputePipelineState(kernel);
            encoder.setBuffer(to, offset, 0);
            encoder.setBuffer(from, 256 - offset, 1);
            encoder.dispatchThreads({3, 1, 1}, {4, 1, 1});
        }));
        std::vector<std::uint32_t> expected(128);
        for (std::uint32_t i = 0; i < 3; ++i)
            expected[offset / 4 + i] = (256 - offset + 4 * i + 1) % 256;
        expected[offset / 4 + 3] = (256 - offset + 12) % 256 + 100;
        EXPECT_EQ(valuesIn<std::uint32_t>(to), expected);
    }
}

TEST_P(BufferTest, LivesUntilItsCommandBuffersHaveCompleted) {
    const auto kernel = pipeline("kernel void run(device const uint* from [[buffer(0)]],"
                                 " device uint* to [[buffer(1)]],"
                                 " uint i [[thread_position_in_grid]]) { to[i] = from[i]; }");
    const auto target = device->makeBuffer(4096, StorageMode::Shared);
    expectCompleted(*run([&](gpu::ComputeCommandEncoder& encoder) {
        encoder.setComputePipelineState(kernel);
        encoder.setBuffer(bufferOf(std::vector<std::uint32_t>(1024, 77)), 0, 0); // nobody else's
        encoder.setBuffer(target, 0, 1);
        encoder.dispatchThreads({1024, 1, 1}, {64, 1, 1});
    }));
    EXPECT_EQ(valuesIn<std::uint32_t>(target), std::vector<std::uint32_t>(1024, 77));
}

TEST_P(BufferTest, ImpossibleSizesAreRefusedAndManyBuffersAreNot) {
    EXPECT_FALSE(device->makeBuffer(0, StorageMode::Shared));
    EXPECT_FALSE(device->makeBuffer(std::size_t{1} << 60, StorageMode::Shared));
    EXPECT_FALSE(device->makeBuffer(~std::size_t{0}, StorageMode::Private));
    const auto kernel = pipeline(increment);
    for (int i = 0; i < 2000; ++i) // what is gone must make room
        ASSERT_TRUE(device->makeBuffer(1 << 20, StorageMode::Private));
    std::vector<std::shared_ptr<gpu::Buffer>> alive;
    for (int i = 0; i < 200; ++i) {
        alive.push_back(device->makeBuffer(64, StorageMode::Shared));
        expectCompleted(*dispatch(kernel, {alive.back()}, 1));
    }
    for (const auto& buffer : alive)
        EXPECT_EQ(valuesIn<std::uint32_t>(buffer)[0], 1u);
}

} // namespace
} // namespace test
