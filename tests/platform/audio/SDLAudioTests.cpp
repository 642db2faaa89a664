// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/audio/SDLAudioEngine.h"
#include "tests/platform/audio/PulseServer.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <mutex>
#include <thread>

namespace platform {
namespace {

class SDLAudioTest : public testing::Test {
protected:
    void play() {
        engine = std::make_unique<SDLAudioEngine>(*thread, clock, log);
        ASSERT_TRUE(engine->start());
        node = engine->attachPlayerNode();
        node->schedule(PCMBuffer::create(1000), 0);
        node->play();
    }
    /// Checks that the position moves on by that much, at about the speed of real time: a stall may
    /// hold it up for a moment, and a server that has been late asks for several blocks at once.
    void expectProgress(double seconds) {
        const auto position = [this] { return static_cast<double>(node->position().value_or(0)); };
        const double before = position();
        const Seconds start = clock.now();
        const auto elapsed = [&] { return (clock.now() - start).count(); };
        double passed = 0;
        while (passed < seconds && elapsed() < seconds + 3) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
            passed = (position() - before) / 48000;
        }
        EXPECT_GE(passed, seconds);
        EXPECT_LT(passed, 2 * elapsed() + 0.7);
    }
    std::size_t countOf(const std::string& beginning) {
        node->position(); // notices a stall
        const std::lock_guard lock(mutex);
        return static_cast<std::size_t>(
            std::count_if(lines.begin(), lines.end(),
                          [&](const std::string& line) { return line.starts_with(beginning); }));
    }
    template <class Condition>
    static bool await(Condition condition) {
        for (int i = 0; i < 1500 && !condition(); ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        return condition();
    }
    bool waitFor(const std::string& beginning) {
        return await([&] { return countOf(beginning) > 0; });
    }

    std::mutex mutex;
    std::vector<std::string> lines;
    Log log{[this](std::string_view line) {
        const std::lock_guard lock(mutex);
        lines.emplace_back(line);
    }};
    SystemClock clock;
    tests::PulseServer server;
    std::unique_ptr<SDLAudioThread> thread = std::make_unique<SDLAudioThread>();
    std::unique_ptr<SDLAudioEngine> engine;
    std::unique_ptr<AudioPlayerNode> node;
};

} // namespace

TEST_F(SDLAudioTest, GoesOnInSilenceWhenTheServerDiesAndComesBack) {
    play();
    EXPECT_GT(engine->deviceIdentifier(), 0U);
    expectProgress(0.5);
    server.kill();
    ASSERT_TRUE(waitFor("No audio output, going on in silence: "));
    expectProgress(1.5);
    EXPECT_EQ(countOf("No audio output"), 1U); // however often it is tried again
    EXPECT_EQ(engine->deviceIdentifier(), 0U);
    server.start();
    ASSERT_TRUE(waitFor("Audio output is back"));
    expectProgress(0.5);
}

TEST_F(SDLAudioTest, PlaysWithoutAnyDevice) {
    server.kill();
    play();
    EXPECT_TRUE(waitFor("No audio output, going on in silence: "));
    EXPECT_EQ(engine->deviceIdentifier(), 0U);
    expectProgress(0.5);
    server.start();
    EXPECT_TRUE(waitFor("Audio output is back"));
}

TEST_F(SDLAudioTest, DoesNotWaitForADeviceThatStalls) {
    play();
    const auto stalls = [&] { return countOf("Audio output has stalled, going on in silence"); };
    const auto returns = [&] { return countOf("Audio output is back"); };
    for (int i = 0; i < 10 && stalls() == 0; ++i) { // only what has played can stall
        server.thaw();
        expectProgress(0.5);
        server.freeze();
        expectProgress(1);
    }
    // What SDL had asked for may still come, and a busy machine may stall by itself.
    ASSERT_TRUE(await([&] { return stalls() == returns() + 1; }));
    server.thaw();
    EXPECT_TRUE(await([&] { return stalls() == returns(); }));
    expectProgress(1);
}

// The device is closed a little later, and a busy machine holds a block up for long.
TEST_F(SDLAudioTest, LeavesTheClockAloneOnceTheEngineHasGone) {
    struct : Clock {
        Seconds now() const override {
            if (std::this_thread::get_id() != main) {
                std::this_thread::sleep_for(std::chrono::milliseconds(20));
                ++(hasGone ? lateCalls : calls);
            }
            return clock.now();
        }
        SystemClock clock;
        std::thread::id main = std::this_thread::get_id();
        std::atomic<bool> hasGone = false;
        mutable std::atomic<int> calls = 0;
        mutable std::atomic<int> lateCalls = 0;
    } slow;
    engine = std::make_unique<SDLAudioEngine>(*thread, slow, log);
    ASSERT_TRUE(engine->start());
    ASSERT_TRUE(await([&] { return slow.calls > 10; }));
    engine.reset();
    slow.hasGone = true;
    thread.reset();
    EXPECT_EQ(slow.lateCalls, 0);
}

TEST_F(SDLAudioTest, EndsInTimeWithAFrozenServer) {
    play();
    expectProgress(0.3);
    server.freeze();
    const auto start = std::chrono::steady_clock::now();
    node.reset();
    engine.reset();
    {
        const SDLAudioThread another;
    }
    // The server's own library gives up after half a minute.
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
    server.thaw();
}

} // namespace platform
