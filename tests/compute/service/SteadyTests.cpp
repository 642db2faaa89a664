// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The service in this process: frame after frame of the same kind, it asks for no memory.
#include "compute/service/Server.h"
#include "compute/workers/Workers.h"
#include "platform/base/SharedMemory.h"
#include "tests/Allocations.h"
#include "tests/compute/service/OneKernelCompiler.h"

#include <gtest/gtest.h>

#include <thread>

namespace {

using namespace compute;

/// Adds the first number among the bytes by value to every number of the buffer.
class AddingKernel final : public Kernel {
public:
    AddingKernel() : Kernel(KernelDescription{}) {}

    void run(const Bindings& bindings, Extent threads, Extent, std::uint32_t,
             std::uint32_t) const override {
        auto* numbers = reinterpret_cast<std::uint32_t*>(bindings.buffers[0]);
        const auto* summand = reinterpret_cast<const std::uint32_t*>(bindings.buffers[1]);
        workers::run(threads.width, [&](std::uint32_t first, std::uint32_t last) {
            for (std::uint32_t i = first; i < last; ++i)
                numbers[i] += *summand;
        });
    }
};

class SteadyTest : public testing::Test {
protected:
    static constexpr std::uint32_t count = 10'000;
    static constexpr std::size_t length = std::size_t{4} * count;
    static constexpr protocol::BufferId buffer{1};
    static constexpr protocol::PipelineId pipeline{3};

    void SetUp() override {
        auto ends = protocol::Channel::makePair();
        memory = *platform::SharedMemory::create(length, "test");
        console = std::make_unique<protocol::Channel>(std::move(ends->first));
        service = std::jthread([this, end = std::move(ends->second)]() mutable {
            protocol::Channel channel(std::move(end));
            test::OneKernelCompiler<AddingKernel> compiler;
            auto server = service::Server::create(channel, compiler, page);
            EXPECT_TRUE((*server)->serve());
        });
        ask(protocol::RegisterBuffer{buffer, length}, memory->descriptor());
        answer<protocol::Ready>();
        ask(protocol::CompileLibrary{{4}, {2}, std::string("text")});
        answer<protocol::LibraryCompiled>();
        ask(protocol::MakePipeline{{5}, pipeline, {2}, std::string("add"), {}});
        answer<protocol::PipelineMade>();
    }
    void TearDown() override { console.reset(); } // the service ends

    template <class T>
    void ask(const T& request, int descriptor = -1) {
        protocol::encodeAs<protocol::Request>(request, bytes);
        ASSERT_TRUE(console->send(bytes, descriptor));
    }
    template <class T>
    T answer() {
        const auto received = console->receive(protocol::Channel::Descriptors::Drop, true);
        EXPECT_TRUE(protocol::decodeInto(reply, received.bytes));
        return std::get<T>(reply);
    }
    void addDispatch(protocol::RunCommands& job, std::uint32_t summand) const {
        const auto offset = static_cast<std::uint32_t>(job.bytes.size());
        const auto value = std::as_bytes(std::span(&summand, 1));
        job.bytes.insert(job.bytes.end(), value.begin(), value.end());
        job.bindings.emplace_back(protocol::BufferBinding{0, buffer, 0});
        job.bindings.emplace_back(protocol::InlineBinding{1, offset, 4});
        job.commands.emplace_back(
            protocol::Dispatch{pipeline, {count, 1, 1}, {64, 1, 1}, 2, 0, count});
    }
    std::uint32_t lastNumber() const {
        std::uint32_t number = 0;
        std::memcpy(&number, &memory->bytes()[length - 4], 4);
        return number;
    }

    protocol::StatusPage page;
    std::shared_ptr<platform::SharedMemory> memory;
    std::unique_ptr<protocol::Channel> console;
    std::jthread service;
    protocol::Reply reply;
    std::vector<std::byte> bytes;
};

TEST_F(SteadyTest, FramesLikeTheOneBeforeTakeNoMemory) {
    protocol::RunCommands render;
    addDispatch(render, 3);
    addDispatch(render, 40);
    protocol::RunCommands display;
    display.commands.emplace_back(protocol::Copy{buffer, 0, buffer, 4, 4});
    addDispatch(display, 500);
    display.commands.emplace_back(protocol::Fill{buffer, 0, 4, 0});
    std::size_t failures = 0;
    const std::size_t allocations = test::allocationsOf([&] {
        ask(render);
        ask(display);
        failures += answer<protocol::JobDone>().succeeded ? 0 : 1;
        failures += answer<protocol::JobDone>().succeeded ? 0 : 1;
    });
    EXPECT_EQ(allocations, 0u);
    EXPECT_EQ(failures, 0u);
    EXPECT_EQ(lastNumber(), 120 * 543u);
}

TEST_F(SteadyTest, ArgumentsThatAreNotThereAreRefused) {
    const auto refusal = [&](const auto& spoil) {
        protocol::RunCommands job;
        addDispatch(job, 1);
        spoil(job);
        ask(job);
        return std::string(answer<protocol::JobDone>().message);
    };
    using Job = protocol::RunCommands;
    using protocol::InlineBinding;
    EXPECT_EQ(refusal([](Job&) {}), "");
    EXPECT_EQ(refusal([](Job& job) { job.bindings.pop_back(); }), "arguments are missing");
    EXPECT_EQ(refusal([](Job& job) { job.bindings.emplace_back(InlineBinding{1, 0, 4}); }),
              "there are arguments without a dispatch");
    for (const InlineBinding beyond : {InlineBinding{1, 1, 4}, {1, 5, 0}, {1, 0xFFFFFFFF, 4}})
        EXPECT_EQ(refusal([&](Job& job) { job.bindings[1] = beyond; }),
                  "an argument by value is not there");
    EXPECT_EQ(refusal([](Job& job) {
                  job.bytes.resize(10'000);
                  job.bindings[1] = InlineBinding{1, 0, 4097};
              }),
              "an argument by value is not there");
    EXPECT_EQ(refusal([](Job& job) { job.bindings[1] = InlineBinding{31, 0, 4}; }),
              "an argument index is too high");
    EXPECT_EQ(lastNumber(), 1u) << "of the one that was whole";
}

} // namespace
