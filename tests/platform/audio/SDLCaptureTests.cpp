// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Microphones that are plugged in and pulled out of a sound server.
#include "platform/audio/SDLAudioCapture.h"
#include "platform/audio/SDLAudioEngine.h"
#include "tests/platform/audio/PulseServer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <condition_variable>
#include <mutex>

namespace platform {
namespace {

using Kind = AudioCaptureEvent::Kind;

class SDLCaptureTest : public testing::Test {
protected:
    void SetUp() override {
        capture.watchDevices([this] { note([this] { ++changes; }); });
    }
    void start(const std::string& device) {
        capture.start(
            device,
            [this](std::span<const float> block) {
                note([&] {
                    ++blocks;
                    crossings = 0;
                    for (std::size_t i = 1; i < block.size(); ++i)
                        crossings += (block[i] > 0) != (block[i - 1] > 0);
                });
            },
            [this](const AudioCaptureEvent& event) {
                note([&] { events.push_back(event.kind); });
            });
    }
    template <class Change>
    void note(Change change) {
        const std::lock_guard lock(mutex);
        change();
        happened.notify_all();
    }
    template <class Condition>
    bool waitUntil(Condition condition, int seconds = 20) {
        std::unique_lock lock(mutex);
        return happened.wait_for(lock, std::chrono::seconds(seconds), condition);
    }
    bool lists(const std::string& name) {
        return std::ranges::count(capture.devices(), name, &AudioCaptureDevice::name) == 1;
    }
    bool isHeard() {
        const int before = read(blocks);
        return waitUntil([this, before] { return blocks > before; });
    }
    template <class T>
    T read(const T& value) {
        const std::lock_guard lock(mutex);
        return value;
    }

    std::mutex mutex;
    std::condition_variable happened;
    int changes = 0;
    int blocks = 0;
    int crossings = 0; ///< of zero in the last block of 1024 samples: 43 for each 1000 Hz
    std::vector<Kind> events;
    tests::PulseServer server;
    SDLAudioThread thread;
    SDLAudioCapture capture{thread};
};

} // namespace

TEST_F(SDLCaptureTest, FollowsWhatIsPluggedIn) {
    ASSERT_TRUE(waitUntil([&] { return capture.devices().size() == 2; }));
    EXPECT_EQ(capture.devices().front().name, "Monitor of Stage") << "the default one";
    // What comes between SDL's first look and its subscription to changes escapes it.
    for (int attempt = 0; attempt < 5 && !lists(server.whistle); ++attempt) {
        if (attempt > 0)
            server.pullOut();
        server.plugIn();
        waitUntil([&] { return lists(server.whistle); }, 4);
    }
    ASSERT_TRUE(lists(server.whistle));

    start(server.whistle);
    ASSERT_TRUE(isHeard());
    server.pullOut();
    ASSERT_TRUE(waitUntil([&] { return events.size() == 2; }));
    ASSERT_TRUE(waitUntil([&] { return !lists(server.whistle); }));
    server.plugIn();
    ASSERT_TRUE(waitUntil([&] { return events.size() == 3; }));
    ASSERT_TRUE(isHeard());
    EXPECT_EQ(read(events), (std::vector{Kind::Started, Kind::Interrupted, Kind::Started}));
    EXPECT_TRUE(lists(server.whistle));
}

TEST_F(SDLCaptureTest, HearsWhatIsPlayed) {
    ASSERT_TRUE(waitUntil([&] { return capture.devices().size() == 2; }));
    start("Monitor of Tuner");
    EXPECT_TRUE(waitUntil([&] { return std::abs(crossings - 128) <= 1; })) << "3000 Hz";
    const SystemClock clock;
    Log log(printNothing);
    SDLAudioEngine output(thread, clock, log);
    ASSERT_TRUE(output.start());
    const auto song = PCMBuffer::create(480);
    for (std::size_t i = 0; i < 480; ++i)
        song->channel(0)[i] = song->channel(1)[i] = i % 48 < 24 ? 0.5F : -0.5F;
    const auto node = output.attachPlayerNode();
    node->schedule(song, 0);
    node->play();
    start("Monitor of Stage");
    EXPECT_TRUE(waitUntil([&] { return std::abs(crossings - 43) <= 1; })) << "1000 Hz";
}

TEST_F(SDLCaptureTest, WaitsForADeviceThatIsNotThere) {
    ASSERT_TRUE(waitUntil([&] { return capture.devices().size() == 2; }));
    start(server.whistle);
    ASSERT_TRUE(waitUntil([&] { return !events.empty(); }));
    server.plugIn();
    ASSERT_TRUE(isHeard());
    EXPECT_EQ(read(events), (std::vector{Kind::Error, Kind::Started})) << "each is said once";
}

TEST_F(SDLCaptureTest, FindsTheDevicesOfAServerThatComesLater) {
    ASSERT_TRUE(waitUntil([&] { return capture.devices().size() == 2; }));
    start("Monitor of Tuner");
    ASSERT_TRUE(isHeard());
    server.kill();
    ASSERT_TRUE(waitUntil([&] { return capture.devices().empty(); }));
    server.start();
    ASSERT_TRUE(waitUntil([&] { return capture.devices().size() == 2; }));
    ASSERT_TRUE(isHeard());
    EXPECT_EQ(read(changes), 3);
}

} // namespace platform
