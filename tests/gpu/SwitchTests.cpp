// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A device that is told to work somewhere else while there are memory and pipelines.
#include "tests/gpu/DeviceTest.h"

using gpu::StorageMode;

namespace test {
namespace {

class SwitchTest : public DeviceTest {
protected:
    SwitchTest() {
        device = gpu::Device::systemDefault(); // the others go on with theirs
        queue = device->makeCommandQueue();
        device->setTimeLimit(std::chrono::seconds(10));
    }
    ~SwitchTest() override {
        queue.reset();
        device.reset();
    }
};
SL42_ON_EVERY_DEVICE(SwitchTest);

TEST_P(SwitchTest, KeepsMemoryAndPipelines) {
    ::setenv("SL42_VULKAN_LOCAL", "1", 1); // as on a device with memory of its own
    const std::vector<std::uint32_t> zeros(64);
    const auto shared = bufferOf(zeros);
    const auto local = device->makeBuffer(256, StorageMode::Private);
    const auto count = pipeline("kernel void run(device uint* a [[buffer(0)]],"
                                " device uint* b [[buffer(1)]],"
                                " uint i [[thread_position_in_grid]])"
                                " { a[i] += i; b[i] += 2 * i; }");
    std::uint32_t times = 0;
    for (const char* choice : {"host", "vulkan", "host", "vulkan:llvmpipe"}) {
        SCOPED_TRACE(choice);
        device->use(choice);
        EXPECT_EQ(device->state().choice, choice);
        ++times;
        expectCompleted(*dispatch(count, {shared, local}, 64));
        EXPECT_EQ(valuesIn<std::uint32_t>(shared)[63], 63 * times);
        EXPECT_EQ(valuesIn<std::uint32_t>(local)[63], 126 * times);
        const gpu::DeviceState state = device->state();
        EXPECT_TRUE(state.isKnown);
        EXPECT_EQ(state.isProcessor, std::string(choice) == "host");
        EXPECT_EQ(state.name.starts_with("llvmpipe"), !state.isProcessor) << state.name;
        EXPECT_EQ(state.failure, "");
    }
    ::unsetenv("SL42_VULKAN_LOCAL");
}

TEST_P(SwitchTest, ToSomethingThatDoesNotStartSaysWhyAndGoesOn) {
    const auto counter = bufferOf(std::vector<std::uint32_t>(1));
    const auto count = pipeline("kernel void run(device uint* a [[buffer(0)]]) { a[0] += 1; }");
    device->use("vulkan:none such");
    expectCompleted(*dispatch(count, {counter}, 1));
    const gpu::DeviceState state = device->state();
    EXPECT_TRUE(state.isProcessor);
    EXPECT_EQ(state.choice, "vulkan:none such");
    EXPECT_TRUE(state.failure.starts_with("Programs run on the processor, since the device "
                                          "'vulkan:none such' does not start: No device is called"))
        << state.failure;
    device->use("host");
    EXPECT_EQ(device->state().failure, "");
    expectCompleted(*dispatch(count, {counter}, 1));
    EXPECT_EQ(valuesIn<std::uint32_t>(counter)[0], 2u);
}

} // namespace
} // namespace test
