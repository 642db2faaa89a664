// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Microphones that are plugged in and pulled out of a sound server.
#include "platform/audio/SDLAudioCapture.h"
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
            device, [this](auto) { note([this] { ++blocks; }); },
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
