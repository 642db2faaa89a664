// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/audio/AudioMonitor.h"
#include "tests/Allocations.h"

#include <gtest/gtest.h>

namespace starloom {
namespace {

using Lines = std::vector<std::string>;
using Kind = platform::AudioCaptureEvent::Kind;

class FakeCapture final : public platform::AudioCapture {
public:
    std::vector<platform::AudioCaptureDevice> devices() override { return present; }
    void watchDevices(ListHandler onChange) override { onListChange = std::move(onChange); }
    void start(const std::string& identifier, BlockHandler block, EventHandler event) override {
        open = identifier;
        onBlock = std::move(block);
        onEvent = std::move(event);
    }
    void stop() override { open.clear(); }

    std::vector<platform::AudioCaptureDevice> present{{"Microphone", "m1"}, {"Line", "l1"}};
    std::string open;
    ListHandler onListChange;
    BlockHandler onBlock;
    EventHandler onEvent;
};

class AudioMonitorTest : public testing::Test {
protected:
    void plug(std::vector<platform::AudioCaptureDevice> devices) {
        capture.present = std::move(devices);
        capture.onListChange();
        mainQueue.pump();
    }

    FakeCapture capture;
    platform::MainQueue mainQueue;
    Lines lines;
    platform::Log log{[this](std::string_view line) { lines.emplace_back(line); }};
};

} // namespace

TEST_F(AudioMonitorTest, CapturesFromTheFirstDevice) {
    AudioMonitor monitor(capture, mainQueue, log);
    EXPECT_EQ(capture.open, "m1");
    EXPECT_TRUE(monitor.isActive().get());
    EXPECT_EQ(monitor.audioDevices().get(),
              (std::vector<AudioDevice>{{0, "Microphone"}, {1, "Line"}}));
    EXPECT_EQ(lines, (Lines{"Configured audio session", "Selected new audio device: Microphone",
                            "Started audio capture session"}));

    std::vector<float> samples(1024);
    samples[5] = 1;
    capture.onBlock(samples);
    EXPECT_EQ(monitor.fftValues().raw[3], 0.0F); // published by the main queue
    mainQueue.pump();
    EXPECT_EQ(monitor.fftValues().raw[3], 1.0F);

    lines.clear();
    capture.onEvent({Kind::Started, "Microphone"});
    capture.onEvent({Kind::Error, "no"});
    capture.onEvent({Kind::Interrupted, "gone"});
    capture.onEvent({Kind::Stopped, "Microphone"});
    EXPECT_EQ(lines,
              (Lines{"Capture session started running", "Capture session runtime error: no",
                     "Capture session interrupted: gone", "Capture session stopped: Microphone"}));
}

TEST_F(AudioMonitorTest, BlockAfterBlockTakesNoMemory) {
    const AudioMonitor monitor(capture, mainQueue, log);
    std::vector<float> samples(1024);
    EXPECT_EQ(test::allocationsOf([&] {
                  samples[5] += 1;
                  capture.onBlock(samples);
                  mainQueue.pump();
              }),
              0U);
    EXPECT_EQ(monitor.fftValues().integrated[3], 120.0F);
}

TEST_F(AudioMonitorTest, SwitchesDevicesAndStops) {
    AudioMonitor monitor(capture, mainQueue, log);
    lines.clear();
    monitor.selectAudioDevice(1);
    EXPECT_EQ(capture.open, "l1");
    monitor.setIsActive(false);
    EXPECT_EQ(capture.open, "");
    monitor.selectAudioDevice(0); // does not open a microphone that is switched off
    EXPECT_EQ(capture.open, "");
    monitor.setIsActive(true);
    EXPECT_EQ(capture.open, "m1");
    EXPECT_EQ(lines,
              (Lines{"Selected new audio device: Line", "Stopped audio capture session",
                     "Selected new audio device: Microphone", "Started audio capture session"}));
}

TEST_F(AudioMonitorTest, FollowsWhatIsPluggedIn) {
    AudioMonitor monitor(capture, mainQueue, log);
    monitor.selectAudioDevice(1);
    lines.clear();
    plug({{"Radio", "r1"}, {"Microphone", "m1"}, {"Line", "l1"}});
    EXPECT_EQ(monitor.selectedAudioDevice().get(), 2U) << "the device, not the place";
    EXPECT_EQ(capture.open, "l1");

    // Out with the one that is used: the capture waits for it, under the same name.
    plug({{"Microphone", "m1"}});
    EXPECT_EQ(monitor.audioDevices().get(),
              (std::vector<AudioDevice>{{0, "Microphone"}, {1, "Line", false}}));
    EXPECT_EQ(monitor.selectedAudioDevice().get(), 1U);
    EXPECT_EQ(capture.open, "l1");
    plug({});
    EXPECT_EQ(monitor.audioDevices().get(), (std::vector<AudioDevice>{{0, "Line", false}}));
    plug({{"Line", "l1"}, {"Microphone", "m1"}});
    EXPECT_EQ(monitor.audioDevices().get(),
              (std::vector<AudioDevice>{{0, "Line"}, {1, "Microphone"}}));
    EXPECT_TRUE(lines.empty()) << lines.front();
}

TEST_F(AudioMonitorTest, ChoosingADeviceThatIsGoneEndsNothing) {
    AudioMonitor monitor(capture, mainQueue, log);
    monitor.setIsActive(false);
    plug({{"Line", "l1"}});
    monitor.setIsActive(true); // the selected one is not there
    EXPECT_EQ(capture.open, "m1");
    monitor.selectAudioDevice(0);
    EXPECT_EQ(capture.open, "l1");
    EXPECT_EQ(monitor.audioDevices().get(), (std::vector<AudioDevice>{{0, "Line"}}));
    lines.clear();
    monitor.selectAudioDevice(1); // of the list as it was
    EXPECT_EQ(lines, Lines{"Tried to select invalid audio device"});
    EXPECT_EQ(capture.open, "l1");
}

TEST_F(AudioMonitorTest, TakesTheFirstDeviceThatComes) {
    const auto later = std::exchange(capture.present, {});
    AudioMonitor monitor(capture, mainQueue, log);
    EXPECT_EQ(capture.open, "");
    lines.clear();
    plug(later);
    EXPECT_EQ(capture.open, "m1");
    EXPECT_EQ(lines, Lines{"Selected new audio device: Microphone"});
    plug({{"Line", "l1"}, {"Microphone", "m1"}});
    EXPECT_EQ(capture.open, "m1");
    EXPECT_EQ(lines.size(), 1U);
}

TEST_F(AudioMonitorTest, LivesWithoutDevicesAndGoesDuringAnAnalysis) {
    capture.present.clear();
    AudioMonitor deaf(capture, mainQueue, log);
    EXPECT_TRUE(deaf.audioDevices().get().empty());
    EXPECT_EQ(lines, (Lines{"Configured audio session", "Started audio capture session"}));

    FakeCapture other;
    auto monitor = std::make_unique<AudioMonitor>(other, mainQueue, log);
    other.onBlock(std::vector<float>(1024, 1.0F));
    other.onListChange();
    monitor.reset();
    EXPECT_FALSE(other.onListChange);
    EXPECT_EQ(mainQueue.pump(), 2U);
}

} // namespace starloom
