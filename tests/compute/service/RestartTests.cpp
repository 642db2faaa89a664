// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A service that is killed from outside, and devices that end with work under way.
#include "tests/compute/service/Console.h"

#include <csignal>
#include <thread>

using Code = gpu::CommandBufferError::Code;
using namespace std::chrono_literals;

namespace test {
namespace {

class Restart : public Console {};

TEST_F(Restart, KilledWhileIdleNobodyNotices) {
    const auto count = pipeline("count");
    run({count});
    const pid_t first = servicePid();
    ::kill(first, SIGKILL);
    EXPECT_EQ(run({count})->status(), gpu::CommandBufferStatus::Completed);
    EXPECT_EQ(counter(), 2u);
    EXPECT_NE(servicePid(), first);
}

TEST_F(Restart, KilledInMidFrameOnlyThatFrameFails) {
    const auto nap = pipeline("nap");
    const auto count = pipeline("count");
    const pid_t service = servicePid();
    const auto hit = commit({count, nap});
    const auto behind = commit({count});
    std::this_thread::sleep_for(100ms);
    ::kill(service, SIGKILL);
    behind->waitUntilCompleted();
    expectError(*hit, Code::ServiceLost, "Render: the compute service ended unexpectedly", "");
    EXPECT_EQ(behind->status(), gpu::CommandBufferStatus::Completed);
    EXPECT_EQ(counter(), 2u);
    EXPECT_FALSE(nap->isStopped());
}

TEST_F(Restart, KilledAgainAndAgainUnderLoadEveryCommandBufferEnds) {
    const auto count = pipeline("count");
    std::atomic<int> ended = 0;
    std::atomic<bool> finished = false;
    std::thread killer([&] {
        while (!finished) {
            ::kill(servicePid(), SIGKILL);
            std::this_thread::sleep_for(15ms);
        }
    });
    constexpr int frames = 300;
    for (int i = 0; i < frames; ++i) {
        const auto commandBuffer = commit({count}, [&](gpu::CommandBuffer&) { ++ended; });
        if (i % 3 == 0)
            commandBuffer->waitUntilCompleted();
    }
    finished = true;
    killer.join();
    run({count}); // may still be hit by the last of them
    EXPECT_EQ(ended, frames);
    const auto last = run({count});
    EXPECT_EQ(last->status(), gpu::CommandBufferStatus::Completed) << last->error()->message;
}

TEST_F(Restart, DeviceMayGoWhileWorkIsUnderWay) {
    const auto nap = pipeline("nap");
    const auto running = commit({nap});
    const auto waiting = commit({nap});
    device.reset();
    waiting->waitUntilCompleted();
    EXPECT_EQ(running->error()->code, Code::ServiceLost);
    EXPECT_EQ(waiting->error()->code, Code::ServiceLost);
    EXPECT_EQ(run({nap})->error()->code, Code::ServiceLost) << "and what comes later fails at once";
}

TEST_F(Restart, DeviceMayGoInItsOwnCompletionHandler) {
    const auto count = pipeline("count");
    auto commandBuffer = queue->makeCommandBuffer();
    commandBuffer->addCompletedHandler(
        [kept = std::move(device)](gpu::CommandBuffer&) mutable { kept.reset(); });
    commandBuffer->commit();
    commandBuffer->waitUntilCompleted();
    EXPECT_EQ(commandBuffer->status(), gpu::CommandBufferStatus::Completed);
}

TEST_F(Restart, OneTextIsCompiledOnceAndItsLibrariesSurvive) {
    const auto first = gpu::waitForLibrary(*device, "count nap");
    const auto second = gpu::waitForLibrary(*device, "count nap");
    ASSERT_TRUE(first && second);
    EXPECT_EQ((*first)->warnings(), (*second)->warnings());
    EXPECT_EQ((*second)->compileTimes().frontEnd, 0);
    ::kill(servicePid(), SIGKILL);
    const auto function = (*first)->makeFunction("count");
    ASSERT_TRUE(function) << "the text is compiled again behind the scenes";
    const auto made = gpu::waitForPipeline(*device, *function);
    ASSERT_TRUE(made);
    EXPECT_EQ(run({*made})->status(), gpu::CommandBufferStatus::Completed);
    EXPECT_FALSE((*first)->makeFunction("missing"));
}

} // namespace
} // namespace test
