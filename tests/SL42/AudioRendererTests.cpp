// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "tests/SL42/ConsoleFixture.h"

#include <algorithm>
#include <cmath>

namespace starloom {

using AudioRendererTest = ConsoleTest;

TEST(CopySong, HearsEverySample) {
    std::vector<float> samples(2 * 100);
    const auto hasSound = [&] { return copySong(std::as_bytes(std::span(samples)), 100).hasSound; };
    samples[50] = -0.0F;
    EXPECT_FALSE(hasSound());
    for (const std::size_t at : {0, 1, 198, 199}) {
        samples[at] = 1e-45F;
        EXPECT_TRUE(hasSound()) << at;
        samples[at] = 0;
    }
    samples[7] = std::nanf("");
    EXPECT_TRUE(hasSound());
    EXPECT_FALSE(copySong({}, 0).hasSound);
}

TEST_F(AudioRendererTest, RendersTheWholeSongInOneDispatch) {
    device->audioValue = 0.5F;
    start("int4 music = {90, 3, 8, 2};\nfloat2 sfx() { return .5; }");
    const auto commandBuffer = commandBuffers("Audio").at(0);
    EXPECT_EQ(commandBuffer->timeLimit, std::chrono::seconds(20));
    const auto audio = commandBuffer->dispatches.at(0);
    EXPECT_EQ(audio.kernel, "audio");
    EXPECT_EQ(audio.threads, (gpu::Size3{1'536'000, 1, 1}));
    EXPECT_EQ(audio.group, (gpu::Size3{64, 1, 1}));
    EXPECT_EQ(audio.buffers.at(7)->length(), 12'288'000U);

    AudioRenderer& renderer = engine->audioRenderer();
    EXPECT_TRUE(renderer.hasAudio());
    EXPECT_FALSE(renderer.isPlaying().get()); // until the main queue runs
    settle();
    EXPECT_TRUE(renderer.isPlaying().get());
    EXPECT_EQ(renderer.audioBuffer()->frameLength(), 1'536'000U);
    EXPECT_EQ(renderer.audioBuffer()->channel(1)[1'535'999], 0.5F);

    device->audioValue = 0;
    engine->setSource("float2 sfx() { return 0; }");
    EXPECT_FALSE(renderer.hasAudio()) << "silence";
}

TEST_F(AudioRendererTest, AFailedRenderingLeavesTheSongPlaying) {
    device->audioValue = 1;
    start("float2 sfx() { return 1; }");
    settle();
    const auto before = engine->audioRenderer().audioBuffer();
    // The one that is waited for is the only one pending, and fails.
    device->completesAtOnce = false;
    device->nextError = {.code = gpu::CommandBufferError::Code::TimeLimit,
                         .message = "Audio: audio ran too long",
                         .kernel = "audio"};
    engine->setSource("float2 sfx() { while (true) {} }");
    device->completesAtOnce = true;
    settle();
    EXPECT_EQ(engine->audioRenderer().audioBuffer(), before);
    EXPECT_EQ(linesEqual("Error: Audio: audio ran too long"), 1);
    EXPECT_EQ(engine->fault().get(), "Audio: audio ran too long");
}

TEST_F(AudioRendererTest, ASilentPlayerKeepsTheTimeOfItsSong) {
    start("");
    AudioRenderer& renderer = engine->audioRenderer();
    renderer.setIsPlaying(true);
    EXPECT_EQ(lines.back(), "Attempted to start playback with no audio buffer");
    clock.advance(platform::Seconds(1));
    EXPECT_EQ(renderer.sample(), 0U);
    engine->setSource("float2 sfx() { return 1; }");
    settle();
    clock.advance(platform::Seconds(1.5));
    EXPECT_EQ(renderer.sample(), 72'000U);
}

} // namespace starloom
