// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "tests/gpu/DeviceTest.h"

#include <algorithm>
#include <numeric>

using gpu::StorageMode;
using Code = gpu::CommandBufferError::Code;

namespace test {
namespace {

class BlitTest : public DeviceTest {
protected:
    static std::vector<std::uint8_t> ramp(std::size_t size) {
        std::vector<std::uint8_t> values(size);
        for (std::size_t i = 0; i < size; ++i)
            values[i] = static_cast<std::uint8_t>(i * 31 + i / 256);
        return values;
    }
};
SL42_ON_EVERY_DEVICE(BlitTest);

TEST_P(BlitTest, FillTouchesItsRangeOnly) {
    // Short, and long enough to be spread over cores; borders in odd places.
    for (const std::size_t size : {std::size_t{100}, std::size_t{5'000'003}}) {
        const auto buffer = device->makeBuffer(size, StorageMode::Private);
        expectCompleted(*blit([&](gpu::BlitCommandEncoder& encoder) {
            encoder.fill(buffer, {0, size}, 1);
            encoder.fill(buffer, {3, size - 10}, 200);
            encoder.fill(buffer, {5, 0}, 9);
        }));
        std::vector<std::uint8_t> expected(size, 200);
        std::fill_n(expected.begin(), 3, 1);
        std::fill_n(expected.end() - 7, 7, 1);
        EXPECT_TRUE(valuesIn<std::uint8_t>(buffer) == expected) << size;
    }
}

TEST_P(BlitTest, CopyMovesRangesAlsoWhenTheyOverlap) {
    const std::size_t size = 3'000'000;
    const auto values = ramp(size);
    const auto source = bufferOf(values);
    const auto target = device->makeBuffer(size, StorageMode::Private);
    expectCompleted(*blit([&](gpu::BlitCommandEncoder& encoder) {
        encoder.copy(source, 7, target, 1000, size - 2000);
        encoder.copy(source, 0, source, 1, size - 1);
    }));
    std::vector<std::uint8_t> expected(size);
    std::copy_n(values.begin() + 7, size - 2000, expected.begin() + 1000);
    EXPECT_TRUE(valuesIn<std::uint8_t>(target) == expected);
    expected = values;
    std::copy_n(values.begin(), size - 1, expected.begin() + 1);
    EXPECT_TRUE(valuesIn<std::uint8_t>(source) == expected);
}

TEST_P(BlitTest, RangesOutsideABufferAreRefused) {
    const auto buffer = device->makeBuffer(100, StorageMode::Shared);
    const auto refused = [&](const EncodeBlit& encode) {
        expectError(*blit(encode), Code::InvalidCommand, "Test: ");
    };
    const std::size_t huge = ~std::size_t{0};
    refused([&](auto& encoder) { encoder.fill(buffer, {1, 100}, 0); });
    refused([&](auto& encoder) { encoder.fill(buffer, {huge, 2}, 0); });
    refused([&](auto& encoder) { encoder.fill(nullptr, {0, 1}, 0); });
    refused([&](auto& encoder) { encoder.copy(buffer, 50, buffer, 0, 51); });
    refused([&](auto& encoder) { encoder.copy(buffer, 0, buffer, huge, 2); });
    refused([&](auto& encoder) { encoder.generateMipmaps(nullptr); });
}

} // namespace
} // namespace test
