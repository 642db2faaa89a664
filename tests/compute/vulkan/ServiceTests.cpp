// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The service behind its lock-down with a graphics device: kernels that do wrong, a device that is
// lost, a driver that does not start.
#include "gpu/host/SelfTest.h"
#include "tests/ScratchFolder.h"
#include "tests/compute/service/Console.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <thread>

using Code = gpu::CommandBufferError::Code;
using Status = gpu::CommandBufferStatus;
using namespace std::chrono_literals;

namespace test {
namespace {

class VulkanService : public Console {
protected:
    VulkanService() : Console(VULKAN_COMPUTE, "vulkan:llvmpipe") {}

    void expectToGoOn() {
        const auto before = counter(5);
        const auto done = run({pipeline("count", "count again")});
        EXPECT_EQ(done->status(), Status::Completed)
            << (done->error() ? done->error()->message : "");
        EXPECT_EQ(counter(5), before + 1);
    }
};

TEST_F(VulkanService, RunsKernelsBehindTheLockDown) {
    const auto count = pipeline("count");
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(run({count, count})->status(), Status::Completed);
    EXPECT_EQ(counter(), 6u);
    EXPECT_TRUE(device->name().starts_with("llvmpipe")) << device->name();
}

TEST_F(VulkanService, AKernelThatTakesTooLongIsNamedAndStopped) {
    device->setTimeLimit(300ms);
    const auto count = pipeline("count");
    const auto slow = pipeline("slow");
    const auto failed = run({count, slow, count});
    expectError(*failed, Code::TimeLimit, "Render: kernel 'slow' ran longer than 0.3 s", "slow");
    EXPECT_TRUE(slow->isStopped());
    EXPECT_FALSE(count->isStopped());
    EXPECT_EQ(counter(5), 1u) << "what was done before is done";
    expectToGoOn();
}

// They are with the device all at once.
TEST_F(VulkanService, OfCommandBuffersInFlightTheOneAtFaultIsNamed) {
    device->setTimeLimit(300ms);
    const auto count = pipeline("count");
    const auto again = pipeline("count", "count again");
    const auto slow = pipeline("slow");
    const auto wild = pipeline("wild");
    const auto first = commit({count, again});
    const auto second = commit({count, slow, again});
    const auto third = commit({count, wild});
    const auto fourth = commit({again, count});
    fourth->waitUntilCompleted();
    EXPECT_EQ(first->status(), Status::Completed);
    expectError(*second, Code::TimeLimit, "Render: kernel 'slow' ran longer than 0.3 s", "slow");
    expectError(*third, Code::KernelFault,
                "Render: kernel 'wild' accessed memory outside its buffers", "wild");
    EXPECT_EQ(fourth->status(), Status::Completed);
    EXPECT_EQ(counter(5), 2u + 1u + 1u + 2u) << "each did what stands before its fault, once";
    EXPECT_FALSE(count->isStopped() || again->isStopped());
}

TEST_F(VulkanService, FillsAndCopiesKeepTheirPlaceAmongKernels) {
    const auto count = pipeline("count");
    const auto other = device->makeBuffer(counters * 4, gpu::StorageMode::Shared);
    for (int i = 0; i < 5; ++i) {
        commit({count, count});
        auto blits = queue->makeCommandBuffer();
        const auto encoder = blits->makeBlitCommandEncoder();
        encoder->copy(buffer, 0, other, 0, counters * 4);
        encoder->fill(buffer, {0, counters * 4}, 0);
        encoder->endEncoding();
        blits->commit();
    }
    EXPECT_EQ(run({count})->status(), Status::Completed);
    EXPECT_EQ(counter(63), 1u);
    EXPECT_EQ(std::to_integer<int>(other->contents()[63 * 4]), 2);
}

TEST_F(VulkanService, AnAccessToNothingIsAFaultOfTheKernel) {
    const auto wild = pipeline("wild");
    const auto failed = run({wild});
    expectError(*failed, Code::KernelFault,
                "Render: kernel 'wild' accessed memory outside its buffers", "wild");
    expectToGoOn();
}

TEST_F(VulkanService, AKilledServiceIsStartedAgain) {
    for (int i = 0; i < 3; ++i) {
        ::kill(servicePid(), SIGKILL);
        expectToGoOn();
    }
}

TEST_F(VulkanService, ABufferThatTheDeviceRefusesFailsWhoUsesIt) {
    const auto large = device->makeBuffer(std::size_t{3} << 30, gpu::StorageMode::Private);
    ASSERT_TRUE(large);
    std::swap(buffer, const_cast<std::shared_ptr<gpu::Buffer>&>(large));
    const auto count = pipeline("count");
    const auto failed = run({count});
    std::swap(buffer, const_cast<std::shared_ptr<gpu::Buffer>&>(large));
    expectError(*failed, Code::InvalidCommand,
                "Render: The device takes buffers of at most 2048 MB", "");
    EXPECT_FALSE(count->isStopped());
    expectToGoOn();
}

TEST(VulkanStart, ALostDeviceIsReportedAndOpenedAgain) {
    ::setenv("SL42_TEST_LOST_AFTER", "4", 1); // one of which is the driver's start
    class Lost : public VulkanService {
    public:
        void TestBody() override {
            const auto count = pipeline("count");
            EXPECT_EQ(run({count})->status(), Status::Completed);
            EXPECT_EQ(run({count})->status(), Status::Completed);
            const auto failed = run({count});
            expectError(*failed, Code::KernelFault,
                        "Render: kernel 'count' made the graphics device stop", "count");
            expectToGoOn();
        }
    };
    Lost().TestBody();
    ::unsetenv("SL42_TEST_LOST_AFTER");
}

/// Sets environment variables as long as it lives.
class Environment {
public:
    explicit Environment(std::map<const char*, const char*> variables)
        : m_variables(std::move(variables)) {
        for (const auto& [name, value] : m_variables)
            ::setenv(name, value, 1);
    }
    ~Environment() {
        for (const auto& [name, value] : m_variables)
            ::unsetenv(name);
    }
    Environment(const Environment&) = delete;
    Environment& operator=(const Environment&) = delete;

private:
    std::map<const char*, const char*> m_variables;
};

/// Counters that lie in the device's own memory.
class PrivateCounters : public VulkanService {
public:
    PrivateCounters() { buffer = device->makeBuffer(counters * 4, gpu::StorageMode::Private); }
    /// As the service sees it that runs now.
    std::uint32_t seenCounter() {
        const auto seen = device->makeBuffer(4, gpu::StorageMode::Shared);
        auto blit = queue->makeCommandBuffer();
        const auto encoder = blit->makeBlitCommandEncoder();
        encoder->copy(buffer, 20, seen, 0, 4);
        encoder->endEncoding();
        blit->commit();
        blit->waitUntilCompleted();
        EXPECT_EQ(blit->status(), Status::Completed);
        std::uint32_t value = 0;
        std::memcpy(&value, seen->contents().data(), sizeof value);
        return value;
    }
};

TEST(VulkanStart, PrivateMemoryOutlivesTheDeviceInItsLastSnapshot) {
    class Lost : public PrivateCounters {
    public:
        void TestBody() override {
            const auto count = pipeline("count");
            EXPECT_EQ(run({count, count})->status(), Status::Completed);
            std::this_thread::sleep_for(1100ms);
            EXPECT_EQ(run({count})->status(), Status::Completed); // a snapshot is due
            EXPECT_EQ(run({count})->status(), Status::Completed);
            EXPECT_EQ(run({count})->status(), Status::Error);
        }
    };
    for (const char* copies : {"0", "1"}) {
        for (const char* snapshots : {"0", "1"}) {
            const Environment environment({{"SL42_TEST_LOST_AFTER", "5"}, // with the first start
                                           {"SL42_VULKAN_LOCAL", "1"},
                                           {"SL42_VULKAN_COPIES", copies},
                                           {"SL42_VULKAN_SNAPSHOTS", snapshots}});
            Lost lost;
            lost.TestBody();
            const std::uint32_t restored = lost.seenCounter();
            if (*snapshots == '1')
                EXPECT_TRUE(restored == 3 || restored == 4) << restored;
            else
                EXPECT_EQ(restored, 0u);
        }
    }
}

TEST(VulkanStart, WhatTheDriverMadeIsKeptAndGivenToItAgain) {
    class Started : public VulkanService {
    public:
        void TestBody() override {
            EXPECT_EQ(run({pipeline("count"), pipeline("wild")})->status(), Status::Error);
            EXPECT_EQ(run({pipeline("count")})->status(), Status::Completed);
        }
    };
    const tests::ScratchFolder scratch;
    const std::string caches = scratch.path("");
    const Environment environment({{"XDG_CACHE_HOME", caches.c_str()}});
    const auto start = [&] {
        Started().TestBody();
        const std::filesystem::path folder = scratch.path("starloom42/pipelines");
        const auto names = tests::namesIn(folder);
        EXPECT_EQ(names.size(), 1u) << "one kernel's, and none of the service that was lost";
        return names.empty() ? std::string() : tests::contentsOf(folder / names[0]);
    };
    const std::string first = start();
    EXPECT_GE(first.size(), 72u);
    EXPECT_EQ(start(), first);
}

TEST(VulkanStart, AChangeOfTheDeviceTakesPrivateMemoryAlong) {
    class Changed : public PrivateCounters {
    public:
        void TestBody() override {
            const auto count = pipeline("count");
            EXPECT_EQ(run({count, count})->status(), Status::Completed);
            for (const char* next : {"vulkan", "vulkan:llvmpipe", "host"}) {
                SCOPED_TRACE(next);
                const auto before = seenCounter();
                std::vector<std::shared_ptr<gpu::CommandBuffer>> last;
                for (int i = 0; i < 3; ++i) // not waited for
                    last.push_back(commit({count, count}));
                device->use(next);
                EXPECT_EQ(seenCounter(), before + 6);
                for (const auto& one : last)
                    EXPECT_EQ(one->status(), Status::Completed);
            }
        }
    };
    for (const char* copies : {"0", "1"}) {
        SCOPED_TRACE(copies);
        const Environment environment({{"SL42_VULKAN_LOCAL", "1"}, {"SL42_VULKAN_COPIES", copies}});
        Changed().TestBody();
    }
}

TEST(VulkanStart, AChangeOfTheDeviceWaitsForNothingThatHangs) {
    class Hanging : public PrivateCounters {
    public:
        void TestBody() override {
            EXPECT_EQ(run({pipeline("count")})->status(), Status::Completed);
            device->setTimeLimit(60s);
            if (isStopped)
                ::kill(servicePid(), SIGSTOP);
            const auto slow = commit({pipeline("slow")});
            std::this_thread::sleep_for(100ms);
            const auto start = std::chrono::steady_clock::now();
            device->use("host");
            slow->waitUntilCompleted();
            EXPECT_EQ(slow->status(), Status::Error) << "there are no kernels for the processor";
            EXPECT_LE(seenCounter(), 1u);
            EXPECT_LT(std::chrono::steady_clock::now() - start, 15s);
        }
        bool isStopped = false;
    };
    const Environment environment({{"SL42_VULKAN_LOCAL", "1"}});
    for (const bool isStopped : {false, true}) {
        SCOPED_TRACE(isStopped);
        Hanging hanging;
        hanging.isStopped = isStopped;
        hanging.TestBody();
    }
}

TEST(VulkanStart, EveryAttemptToBreakOutIsDenied) {
    const auto tested = gpu::host::testSandbox(VULKAN_COMPUTE, "vulkan:llvmpipe");
    ASSERT_TRUE(tested) << tested.error().message;
    EXPECT_TRUE(tested->isTight) << tested->report;
    EXPECT_GE(std::ranges::count(tested->report, '\n'), 100);
    std::puts(tested->summary.c_str());
}

TEST(VulkanStart, ADeviceThatIsNotThereLeavesTheProcessor) {
    const auto device = gpu::host::HostDevice::create(VULKAN_COMPUTE, "vulkan:none such");
    const auto library = gpu::waitForLibrary(*device, "count");
    ASSERT_FALSE(library);
    EXPECT_EQ(library.error().message, "without a graphics device there are no kernels");
    EXPECT_TRUE(device->name().starts_with("Host processor")) << device->name();
}

} // namespace
} // namespace test
