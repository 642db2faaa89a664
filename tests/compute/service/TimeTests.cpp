// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Kernels and compilations that do not end, services that stand still, and what is done about them.
#include "tests/compute/service/Console.h"

#include <csignal>
#include <cstring>
#include <thread>

using Code = gpu::CommandBufferError::Code;
using Status = gpu::CommandBufferStatus;
using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

namespace test {
namespace {

class Time : public Console {
protected:
    /// One without a message where there is none.
    static gpu::CommandBufferError errorOf(const std::shared_ptr<gpu::CommandBuffer>& failed) {
        EXPECT_EQ(failed->status(), Status::Error);
        return failed->error().value_or(gpu::CommandBufferError{});
    }
    void setCounter(std::size_t index, std::uint32_t value) {
        std::memcpy(buffer->contents().data() + 4 * index, &value, sizeof value);
    }
};

TEST_F(Time, OnlyProcessorTimeCounts) {
    device->setTimeLimit(100ms);
    EXPECT_EQ(run({pipeline("nap")})->status(), Status::Completed) << "it sleeps for longer";
    const auto hang = pipeline("hang");
    const auto failed = run({hang});
    expectError(*failed, Code::TimeLimit, "Render: kernel 'hang' ran longer than 0.1 s", "hang");
    EXPECT_EQ(errorOf(failed).what, "still at work here after 0.1 s");
    EXPECT_TRUE(hang->isStopped());
}

TEST_F(Time, StoppedServiceIsReplacedAndTheSameWorkIsDoneAgain) {
    const auto nap = pipeline("nap");
    const auto count = pipeline("count");
    for (int i = 0; i < 3; ++i) {
        const pid_t service = servicePid();
        const auto hit = commit({nap});
        const auto behind = commit({count});
        std::this_thread::sleep_for(i * 20ms); // before it has begun, perhaps, and afterwards
        ::kill(service, SIGSTOP);
        behind->waitUntilCompleted();
        EXPECT_EQ(hit->status(), Status::Completed);
        EXPECT_EQ(behind->status(), Status::Completed);
        EXPECT_FALSE(nap->isStopped());
        EXPECT_NE(servicePid(), service);
    }
    EXPECT_EQ(counter(), 6u);
}

TEST_F(Time, ServiceThatIsStoppedForAMomentGoesOn) {
    const auto nap = pipeline("nap");
    const pid_t service = servicePid();
    const auto hit = commit({nap});
    ::kill(service, SIGSTOP);
    std::this_thread::sleep_for(200ms);
    ::kill(service, SIGCONT);
    hit->waitUntilCompleted();
    EXPECT_EQ(hit->status(), Status::Completed);
    EXPECT_EQ(servicePid(), service);
}

TEST_F(Time, StoppedCompilationIsDoneAgain) {
    const pid_t service = servicePid();
    auto made = startPipeline("slow-build");
    std::this_thread::sleep_for(100ms);
    ::kill(service, SIGSTOP);
    EXPECT_TRUE(made.get());
    EXPECT_NE(servicePid(), service);
}

TEST_F(Time, KernelThatMakesNoProgressTwiceIsToBlame) {
    const auto count = pipeline("count");
    for (const std::string kernel : {"stall", "hide"}) {
        const auto bad = pipeline(kernel);
        const auto failed = commit({count, bad});
        const auto behind = commit({count});
        behind->waitUntilCompleted();
        expectError(*failed, Code::TimeLimit, "Render: kernel '" + kernel + "' made no progress",
                    kernel);
        EXPECT_TRUE(bad->isStopped());
        EXPECT_EQ(behind->status(), Status::Completed);
    }
    EXPECT_FALSE(count->isStopped());
}

TEST_F(Time, CompilationThatMakesNoProgressIsGivenUpAndOthersSucceed) {
    auto stalled = startPipeline("stall-build");
    auto innocent = startPipeline("slow-build");
    std::vector<std::shared_ptr<gpu::CommandBuffer>> frames;
    const auto nap = pipeline("nap");
    while (frames.size() < 8)
        frames.push_back(commit({nap}));
    EXPECT_TRUE(innocent.get());
    const auto failed = stalled.get();
    ASSERT_FALSE(failed);
    EXPECT_EQ(failed.error().message, "error: compiling this program makes no progress");
    frames.back()->waitUntilCompleted();
    for (const auto& frame : frames)
        EXPECT_EQ(frame->status(), Status::Completed);
}

TEST_F(Time, LongRunningJobIsEndedWithoutBlame) {
    const auto hang = pipeline("hang");
    const auto count = pipeline("count");
    device->endLongRunning(0ms); // nothing runs
    const auto before = commit({count});
    const auto hung = commit({hang});
    const auto behind = commit({count});
    before->waitUntilCompleted();
    const auto start = Clock::now();
    device->endLongRunning(200ms);
    behind->waitUntilCompleted();
    EXPECT_GE(Clock::now() - start, 150ms) << "it had not had its time";
    expectError(*hung, Code::Ended, "Render: was ended, since its result is not needed", "");
    EXPECT_FALSE(hang->isStopped());
    EXPECT_EQ(behind->status(), Status::Completed);
    EXPECT_EQ(counter(), 2u);

    const auto nap = pipeline("nap");
    const auto shorter = commit({nap});
    device->endLongRunning(100ms);
    EXPECT_EQ(run({nap})->status(), Status::Completed);
    EXPECT_EQ(shorter->status(), Status::Completed) << "short jobs are not ended";
}

TEST_F(Time, ProvenPipelineIsTriedAgain) {
    hostDevice().setProvingTime(50ms);
    const auto faultIf = pipeline("fault-if");
    EXPECT_EQ(run({faultIf})->status(), Status::Completed);
    std::this_thread::sleep_for(60ms);
    for (const bool last : {false, false, true}) {
        setCounter(counters - 1, 1);
        EXPECT_EQ(errorOf(run({faultIf})).code, Code::KernelFault);
        EXPECT_EQ(faultIf->isStopped(), last);
        setCounter(counters - 1, 0);
        EXPECT_EQ(run({faultIf})->status(), last ? Status::Error : Status::Completed);
    }
    EXPECT_EQ(counter(), 3u);
}

TEST_F(Time, WhatNeedsAFailedCommandBufferIsNotCarriedOut) {
    const auto count = pipeline("count");
    const auto null = pipeline("null");
    // The first time it faults, then it is left out.
    for (const auto code : {Code::KernelFault, Code::PipelineStopped}) {
        setCounter(0, 0);
        const auto good = commit({count});
        const auto goodToo = commit({count}, {}, good);
        auto failing = commit({null});
        const auto dependent = commit({count}, {}, failing);
        const auto theirs = commit({count}, {}, dependent);
        const auto other = commit({count});
        other->waitUntilCompleted();
        EXPECT_EQ(goodToo->status(), Status::Completed);
        EXPECT_EQ(errorOf(failing).code, code);
        EXPECT_EQ(errorOf(dependent).code, Code::NotCarriedOut);
        EXPECT_EQ(errorOf(theirs).code, Code::NotCarriedOut);
        EXPECT_EQ(other->status(), Status::Completed);
        EXPECT_EQ(counter(), 3u);

        const std::weak_ptr<gpu::CommandBuffer> gone = failing;
        const auto late = queue->makeCommandBuffer();
        late->setNeeds(failing);
        failing.reset();
        EXPECT_TRUE(gone.expired()) << "whoever needs it does not keep it";
        late->commit();
        late->waitUntilCompleted();
        EXPECT_EQ(errorOf(late).code, Code::NotCarriedOut) << "however long ago it failed";
    }
}

TEST_F(Time, KillsFromOutsideDoNotFailACompilation) {
    auto made = startPipeline("slow-build");
    for (int i = 0; i < 5; ++i) {
        ::kill(servicePid(), SIGKILL);
        std::this_thread::sleep_for(50ms);
    }
    const auto result = made.get();
    EXPECT_TRUE(result) << result.error().message;
    ::kill(servicePid(), SIGKILL);
    const auto again = commit({*result}); // it is being made again when the next one comes
    for (int i = 0; i < 5; ++i) {
        std::this_thread::sleep_for(50ms);
        ::kill(servicePid(), SIGKILL);
    }
    again->waitUntilCompleted();
    EXPECT_FALSE((*result)->isStopped());
}

} // namespace
} // namespace test
