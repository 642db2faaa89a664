// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Kernels and compilers that bring the service down, and who gets the blame.
#include "tests/compute/service/Console.h"

#include <csignal>
#include <thread>

using Code = gpu::CommandBufferError::Code;
using namespace std::chrono_literals;

namespace test {
namespace {

class Death : public Console {};

TEST_F(Death, FaultsAreBlamedOnTheKernelAndOnNothingElse) {
    const char* const outside = "accessed memory outside its buffers";
    const std::pair<std::string, const char*> cases[] = {
        {"wild-up", outside},
        {"wild-down", outside},
        {"null", outside},
        {"deep", "needs more stack than there is"},
        {"refused", "carried out an operation that the processor refuses"}};
    std::uint32_t counted = 0;
    for (const auto& [kernel, verb] : cases) {
        SCOPED_TRACE(kernel);
        const auto count = pipeline("count");
        const auto bad = pipeline(kernel);
        const auto before = commit({count});
        const auto failing = commit({count, bad, count});
        const auto behind = commit({count, bad});
        const auto last = commit({count});
        last->waitUntilCompleted();

        const std::string start = "Render: kernel '" + kernel + "' ";
        EXPECT_EQ(before->status(), gpu::CommandBufferStatus::Completed);
        expectError(*failing, Code::KernelFault, start + verb, kernel);
        expectError(*behind, Code::PipelineStopped, start + "was stopped after an error", kernel);
        EXPECT_EQ(last->status(), gpu::CommandBufferStatus::Completed);
        EXPECT_EQ(counter(), counted += 4)
            << "memory survives, and what is not at fault runs exactly once";
        EXPECT_TRUE(bad->isStopped());
        EXPECT_FALSE(count->isStopped());
        EXPECT_FALSE(pipeline(kernel)->isStopped()) << "made again, it starts afresh";
    }
}

TEST_F(Death, TimeLimitCountsEveryCommandBufferByItself) {
    device->setTimeLimit(1000ms);
    const auto nap = pipeline("nap");
    std::vector<std::shared_ptr<gpu::CommandBuffer>> naps;
    for (int i = 0; i < 5; ++i)
        naps.push_back(commit({nap}));
    for (const auto& commandBuffer : naps) {
        commandBuffer->waitUntilCompleted();
        EXPECT_EQ(commandBuffer->status(), gpu::CommandBufferStatus::Completed);
    }
}

TEST_F(Death, ServiceThatEndsByItselfIsNotTheKernelsFault) {
    const auto killed = pipeline("killed");
    expectError(*run({killed}), Code::ServiceLost, "Render: the compute service ended unexpectedly",
                "");
    EXPECT_FALSE(killed->isStopped());
}

TEST_F(Death, CompilerThatBreaksDownIsAnErrorAndTheFramesGoOn) {
    const auto count = pipeline("count");
    for (const std::string source : {"crash-compiler", "overflow-compiler"}) {
        const auto library = gpu::waitForLibrary(*device, source);
        ASSERT_FALSE(library);
        EXPECT_EQ(library.error().message, "error: the compiler broke down on this program");
        EXPECT_EQ(run({count})->status(), gpu::CommandBufferStatus::Completed);
    }
    EXPECT_EQ(counter(), 2u);
}

TEST_F(Death, PipelineThatCannotBeMadeAgainIsGivenUp) {
    pipeline("count"); // it can be made beside something else only
    const auto doomed = pipeline("quit-rebuild");
    ::kill(servicePid(), SIGKILL);
    const auto failed = run({doomed});
    ASSERT_TRUE(failed->error());
    EXPECT_EQ(failed->error()->code, Code::PipelineStopped);
    EXPECT_TRUE(doomed->isStopped());
    EXPECT_EQ(run({pipeline("count")})->status(), gpu::CommandBufferStatus::Completed);
}

TEST_F(Death, OnlyTheCompilationAtFaultFails) {
    const std::pair<std::string, std::string> cases[] = {
        {"crash-build", "error: the compiler broke down on this program"},
        // Nothing tells which of the two did this; it shows when each is tried alone.
        {"quit-build", "error: the compute service ended while compiling"},
    };
    for (const auto& [kernel, message] : cases) {
        auto innocent = startPipeline("slow-build");
        auto guilty = startPipeline(kernel);
        const auto failed = guilty.get();
        ASSERT_FALSE(failed);
        EXPECT_EQ(failed.error().message, message);
        const auto made = innocent.get();
        ASSERT_TRUE(made) << kernel;
        EXPECT_EQ(run({*made})->status(), gpu::CommandBufferStatus::Completed);
    }
}

TEST_F(Death, CompilationsThatNeverEndAreStoppedAndOthersGoOnBesideThem) {
    hostDevice().setCompileTimeLimit(2s);
    auto hanging = startPipeline("hang-build");
    for (int i = 0; i < 5; ++i)
        EXPECT_TRUE(gpu::waitForLibrary(*device, "count beside" + std::to_string(i)));
    // In the middle of this one the service is killed; it has not had its two seconds.
    std::this_thread::sleep_for(1800ms);
    auto late = startPipeline("slow-build");
    const auto failed = hanging.get();
    ASSERT_FALSE(failed);
    EXPECT_EQ(failed.error().message, "error: compiling this program takes longer than 2 s");
    EXPECT_TRUE(late.get());
    EXPECT_EQ(run({pipeline("count")})->status(), gpu::CommandBufferStatus::Completed);
}

TEST_F(Death, FaultOfAKernelDoesNotFailACompilationBesideIt) {
    const auto null = pipeline("null");
    std::thread compiling([&] { EXPECT_TRUE(gpu::waitForLibrary(*device, "count beside")); });
    EXPECT_EQ(run({null})->error()->code, Code::KernelFault);
    compiling.join();
}

TEST_F(Death, NothingElseIsTrustedToAServiceThatAKernelTriedToLeave) {
    const auto count = pipeline("count");
    EXPECT_EQ(run({count})->status(), gpu::CommandBufferStatus::Completed);
    const pid_t before = servicePid();
    const auto refused = startPipeline("outside-build").get();
    ASSERT_FALSE(refused);
    EXPECT_TRUE(refused.error().message.starts_with("this kernel reaches outside"));
    EXPECT_EQ(run({count})->status(), gpu::CommandBufferStatus::Completed);
    EXPECT_EQ(counter(), 2u);
    EXPECT_NE(servicePid(), before);
}

TEST_F(Death, LongTextsAndLongMessagesArriveWhole) {
    std::string source(10u << 20, ' ');
    source += "count";
    EXPECT_TRUE(gpu::waitForLibrary(*device, source));
    source = std::string(300'000, ' ') + " error";
    const auto cut = gpu::waitForLibrary(*device, source);
    ASSERT_FALSE(cut);
    EXPECT_EQ(cut.error().message.size(), 100'000u);
    EXPECT_TRUE(cut.error().message.ends_with("(more messages left out)\n"));
    EXPECT_FALSE(gpu::waitForLibrary(*device, std::string(17u << 20, ' ')));
}

} // namespace
} // namespace test
