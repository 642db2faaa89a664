// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A service that has been taken over, or is not there at all, must not harm the console.
#include "tests/compute/service/Console.h"

#include <cstdlib>

using Code = gpu::CommandBufferError::Code;
using namespace std::chrono_literals;

namespace test {
namespace {

TEST(Hostile, ServiceIsGivenUpAndEverythingEndsWithAnError) {
    for (const char* answer : {"exit", "close", "other-version", "garbage", "empty-packet",
                               "twice-ready", "oversized", "truncated", "trailing", "other-id",
                               "other-kind", "unknown-job", "huge-count", "flood", "never"}) {
        SCOPED_TRACE(answer);
        ::setenv("SL42_HOSTILE", answer, 1);
        const auto device = gpu::host::HostDevice::create(HOSTILE_COMPUTE);
        const auto queue = device->makeCommandQueue();
        const auto library = gpu::waitForLibrary(*device, "count");
        if (library) { // one answer was in order, the next are not
            const auto function = (*library)->makeFunction("count");
            ASSERT_TRUE(function);
            EXPECT_FALSE(gpu::waitForPipeline(*device, *function));
        }
        const auto commandBuffer = queue->makeCommandBuffer();
        commandBuffer->makeBlitCommandEncoder()->fill(
            device->makeBuffer(16, gpu::StorageMode::Shared), {0, 16}, 1);
        device->setTimeLimit(200ms);
        commandBuffer->commit();
        commandBuffer->waitUntilCompleted();
        EXPECT_EQ(commandBuffer->status(), gpu::CommandBufferStatus::Error);
    }
}

TEST(MissingService, IsAnErrorAtOnce) {
    const auto device = gpu::host::HostDevice::create("/nonexistent/starloom-compute");
    for (int i = 0; i < 2; ++i) {
        const auto library = gpu::waitForLibrary(*device, "count");
        ASSERT_FALSE(library);
        EXPECT_EQ(library.error().message, "error: Cannot start /nonexistent/starloom-compute: "
                                           "No such file or directory");
    }
    const auto commandBuffer = device->makeCommandQueue()->makeCommandBuffer();
    commandBuffer->commit();
    commandBuffer->waitUntilCompleted();
    EXPECT_EQ(commandBuffer->error()->code, Code::ServiceLost);
}

} // namespace
} // namespace test
