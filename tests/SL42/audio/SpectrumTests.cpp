// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The whole way of the sound: a program's song goes out through a sound server, comes back in
// through a microphone, and another program draws its spectrum.
#include "platform/audio/SDLAudioCapture.h"
#include "platform/audio/SDLAudioEngine.h"
#include "preview/OffscreenPreview.h"
#include "tests/SL42/device/DeviceFixture.h"
#include "tests/platform/audio/PulseServer.h"

#include <algorithm>
#include <cmath>

namespace starloom {
namespace {

/// Plays noise, which wakes every bin, and draws a bar of two pixels for each.
constexpr const char* program = R"(
float2 sfx() { return 0.1 * (fract(sin(float(sample % 65536) * 12.9898) * 43758.5453) - 0.5); }
void fx() {
    int bin = int(coords.x) / 2;
    cls(bin < 256 && fft(bin) > 0.5 ? float4(0, 1, 0, 1) : float4(0, 0, fftsum(60, 4), 1));
})";
/// 3000 Hz in blocks of 1024 samples.
constexpr std::size_t tunerBin = 64;

class SpectrumTest : public EngineFixture {
protected:
    ~SpectrumTest() override { engine.reset(); } // before what it plays through
    void SetUp() override {
        engine = std::make_unique<SL42>(
            Surroundings{.mainQueue = mainQueue,
                         .clock = wallClock,
                         .log = quietLog,
                         .audioEngine = output,
                         .audioCapture = input,
                         .device = gpu::Device::systemDefault(),
                         .makeView =
                             [this](const auto& device) {
                                 auto made = std::make_unique<OffscreenPreview>(device);
                                 view = made.get();
                                 return made;
                             }},
            "Test", program, false);
    }
    AudioMonitor& monitor() { return engine->audioMonitor(); }
    const FFTValues& heard() { return monitor().fftValues(); }
    bool hearsOnlyTheTuner() {
        const auto& raw = heard().raw;
        for (std::size_t bin = 0; bin < raw.size(); ++bin)
            if ((raw[bin] > 0.4F) != (bin == tunerBin))
                return false;
        return true;
    }

    tests::PulseServer server;
    platform::SystemClock wallClock;
    platform::Log quietLog{platform::printNothing};
    platform::SDLAudioThread thread;
    platform::SDLAudioEngine output{thread, wallClock, quietLog};
    platform::SDLAudioCapture input{thread};
    OffscreenPreview* view = nullptr;
};

} // namespace

TEST_F(SpectrumTest, ShowsWhatTheMicrophoneHears) {
    ASSERT_TRUE(serveUntil([&] { return monitor().audioDevices().get().size() == 2; }));
    EXPECT_EQ(monitor().audioDevices().get()[0].name, "Monitor of Stage"); // the default one
    // The song's own noise, until it has been in every bin for some blocks.
    ASSERT_TRUE(serveUntil([&] {
        return std::none_of(heard().raw.begin(), heard().raw.end(),
                            [](float value) { return !(value > 0); });
    }));
    const FFTValues first = heard();
    ASSERT_TRUE(serveUntil([&] { return heard().raw != first.raw; }));

    EXPECT_EQ(monitor().audioDevices().get()[1].name, "Monitor of Tuner");
    monitor().selectAudioDevice(1);
    ASSERT_TRUE(serveUntil([&] { return hearsOnlyTheTuner(); }));

    monitor().setIsActive(false);
    monitor().setIsActive(true);
    ASSERT_TRUE(serveUntil([&] { return hearsOnlyTheTuner(); }));
    view->refresh();
    const Picture picture(*view->waitForPicture());
    for (std::size_t bin = 0; bin < 256; ++bin) {
        const Color color = picture.at(static_cast<int>(2 * bin), 270);
        EXPECT_EQ(color[1] > 0.5, bin == tunerBin) << bin;
    }
}

} // namespace starloom
