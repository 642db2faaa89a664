// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What drivers made of kernels, from one start of the console to the next. The kernels are those of
// fake-compute that say what their driver was given.
#include "compute/protocol/CodeRecord.h"
#include "tests/ScratchFolder.h"
#include "tests/compute/service/Console.h"

#include <chrono>
#include <csignal>
#include <cstdlib>

namespace fs = std::filesystem;
using namespace std::chrono_literals;

namespace test {
namespace {

constexpr const char* known = "known by 1000 bytes of 42";
constexpr const char* nowhere = "there is nothing to keep it in";

class KeptPipelines : public ::testing::Test {
protected:
    KeptPipelines() {
        if (const char* variable = std::getenv("XDG_CACHE_HOME"))
            caches = variable;
        ::setenv("XDG_CACHE_HOME", scratch.path("").c_str(), 1);
        ::setenv("SL42_TEST_DRIVER", "driver 1", 1);
    }
    ~KeptPipelines() override {
        ::setenv("XDG_CACHE_HOME", caches.c_str(), 1);
        ::unsetenv("SL42_TEST_DRIVER");
        ::unsetenv("SL42_VULKAN_CACHE");
        ::unsetenv("SL42_HOSTILE_RECORD");
    }

    /// What becomes of a kernel in a console that starts, makes it and ends; empty for success.
    static std::string start(const std::string& kernel = "keep", const std::string& text = "keep",
                             const char* service = FAKE_COMPUTE) {
        const auto device = gpu::host::HostDevice::create(service);
        return make(*device, kernel, text);
    }
    static std::string make(gpu::Device& device, const std::string& kernel,
                            const std::string& text) {
        const auto library = gpu::waitForLibrary(device, text);
        if (!library)
            return library.error().message;
        const auto function = (*library)->makeFunction(kernel);
        if (!function)
            return function.error().message;
        const auto made = gpu::waitForPipeline(device, *function);
        return made ? "" : made.error().message;
    }
    fs::path folder() { return scratch.path("starloom42/pipelines"); }
    std::vector<fs::path> files() {
        std::vector<fs::path> found;
        if (fs::exists(folder()))
            for (const auto& entry : fs::directory_iterator(folder()))
                found.push_back(entry.path());
        return found;
    }

    tests::ScratchFolder scratch;
    std::string caches; ///< of the other tests
};

TEST_F(KeptPipelines, TheNextStartHasThemForTheSameDriverAndKernel) {
    EXPECT_EQ(start(), "");
    ASSERT_EQ(files().size(), 1u);
    EXPECT_EQ(fs::status(files()[0]).permissions(), fs::perms(0600));
    EXPECT_EQ(fs::status(folder()).permissions(), fs::perms(0700));
    EXPECT_EQ(start(), known);
    EXPECT_EQ(start("keep", "keep count"), "") << "another program";
    EXPECT_EQ(start("keep2", "keep keep2"), "cannot build keep2") << "another kernel";
    EXPECT_EQ(start("keep", "keep count"), known);
    ::setenv("SL42_TEST_DRIVER", "driver 2", 1);
    EXPECT_EQ(start(), "") << "another driver";
    ::setenv("SL42_TEST_DRIVER", "", 1);
    EXPECT_EQ(start(), nowhere) << "no driver";
}

TEST_F(KeptPipelines, SwitchedOffThereIsNone) {
    ::setenv("SL42_VULKAN_CACHE", "0", 1);
    EXPECT_EQ(start(), nowhere);
    EXPECT_TRUE(files().empty());
}

TEST_F(KeptPipelines, DamagedOnesAreMadeAgain) {
    EXPECT_EQ(start(), "");
    ASSERT_EQ(files().size(), 1u);
    const std::string whole = tests::contentsOf(files()[0]);
    const auto damage = [&](const std::string& contents) {
        std::ofstream(files()[0], std::ios::binary) << contents;
        EXPECT_EQ(start(), "");
        EXPECT_EQ(tests::contentsOf(files()[0]), whole) << "it was not put right";
    };
    damage("");
    damage(whole.substr(0, whole.size() - 1));
    damage(std::string(5u << 20, 'x'));
    for (const std::size_t place : {0u, 9u, 30u, 33u, 600u}) {
        std::string contents = whole;
        contents[place] = static_cast<char>(contents[place] ^ 4);
        damage(contents);
    }
    EXPECT_EQ(start(), known);
}

TEST_F(KeptPipelines, WhatIsTooLargeIsNotKept) {
    EXPECT_EQ(start("keep-too-much", "keep-too-much"), "");
    EXPECT_EQ(start("keep-too-much", "keep-too-much"), "");
    EXPECT_TRUE(files().empty());
}

TEST_F(KeptPipelines, NonsenseFromTheServiceReachesNoFile) {
    ::setenv("SL42_HOSTILE", "scribble", 1);
    for (const char* number : {"0", "1", "2", "3", "4"}) {
        ::setenv("SL42_HOSTILE_RECORD", number, 1);
        EXPECT_EQ(start("count", "count", HOSTILE_COMPUTE), "");
        EXPECT_TRUE(files().empty()) << number;
    }
    ::setenv("SL42_HOSTILE_RECORD", "5", 1);
    EXPECT_EQ(start("count", "count", HOSTILE_COMPUTE), "");
    EXPECT_EQ(files().size(), 1u) << "this one is in order";
}

// If that was why the service ended, it is not the next service's end, too.
TEST_F(KeptPipelines, AServiceThatEndsOverOneIsFollowedByOneWithout) {
    EXPECT_EQ(start("keep-and-die", "keep-and-die"), "");
    ASSERT_EQ(files().size(), 1u);
    const auto device = gpu::host::HostDevice::create(FAKE_COMPUTE);
    EXPECT_EQ(make(*device, "keep-and-die", "keep-and-die"), "");
}

TEST_F(KeptPipelines, AreWrittenOnceTheServiceHasBeenWellForSeconds) {
    const auto device = gpu::host::HostDevice::create(FAKE_COMPUTE);
    EXPECT_EQ(make(*device, "keep", "keep"), "");
    EXPECT_TRUE(files().empty());
    const auto deadline = std::chrono::steady_clock::now() + 30s;
    while (files().empty() && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(100ms);
    EXPECT_EQ(files().size(), 1u);
}

TEST_F(KeptPipelines, NothingIsTakenFromAServiceThatIsLost) {
    auto device = gpu::host::HostDevice::create(FAKE_COMPUTE);
    EXPECT_EQ(make(*device, "keep", "keep"), "");
    for (const pid_t service : children())
        ::kill(service, SIGKILL);
    EXPECT_EQ(make(*device, "count", "count"), "") << "there is another one";
    device.reset();
    EXPECT_TRUE(files().empty());
}

// Whoever gets hold of the service could write for the other one.
TEST_F(KeptPipelines, NothingIsTakenFromAServiceThatHasSeenTwoPrograms) {
    const auto makeBoth = [](bool isOwn, const char* second) {
        const auto device = gpu::host::HostDevice::create(FAKE_COMPUTE);
        if (isOwn)
            device->vouchFor(second);
        EXPECT_EQ(make(*device, "keep", "keep"), "");
        (void)make(*device, "keep", second);
    };
    makeBoth(false, "keep count");
    makeBoth(false, "error"); // which is not even compiled
    EXPECT_TRUE(files().empty());
    makeBoth(true, "keep count");
    EXPECT_EQ(files().size(), 1u) << "nor is the console's own kept, which all programs see";
    EXPECT_EQ(start(), known);
}

} // namespace
} // namespace test
