// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "tests/SL42/ConsoleFixture.h"

#include <chrono>
#include <cmath>
#include <thread>

namespace starloom {

using AudioRendererTest = ConsoleTest;

TEST(RenderedSong, HearsEverySample) {
    std::vector<float> samples(2 * 100);
    const auto hasSound = [&] {
        RenderedSong song{.buffer = PCMBuffer::create(100)};
        song.copy(std::as_bytes(std::span(samples)), 0, 40);
        song.copy(std::as_bytes(std::span(samples)), 40, 60);
        return song.hasSound;
    };
    samples[50] = -0.0F;
    EXPECT_FALSE(hasSound());
    for (const std::size_t at : {0, 1, 79, 80, 198, 199}) {
        samples[at] = 1e-45F;
        EXPECT_TRUE(hasSound()) << at;
        samples[at] = 0;
    }
    samples[7] = std::nanf("");
    EXPECT_TRUE(hasSound());
}

TEST_F(AudioRendererTest, RendersTheWholeSongInPiecesThatLetFramesInBetween) {
    device->audioValue = 0.5F;
    device->milliseconds = 12;
    start("int4 music = {90, 3, 8, 2};\nfloat2 sfx() { return .5; }");
    std::size_t done = 0;
    for (const auto& commandBuffer : commandBuffers("Audio")) {
        const auto audio = commandBuffer->dispatches.at(0);
        EXPECT_EQ(audio.kernel, "audio");
        EXPECT_EQ(audio.threads, (gpu::Extent{1'536'000, 1, 1}));
        EXPECT_EQ(audio.group, (gpu::Extent{64, 1, 1}));
        EXPECT_EQ(audio.part.offset, done);
        EXPECT_LE(audio.part.length, 2048U) << "12 ms is too long for a piece";
        EXPECT_EQ(audio.part.offset % 64, 0U);
        done += audio.part.length;
        EXPECT_EQ(audio.buffers.at(7)->length(), 12'288'000U);
    }
    EXPECT_EQ(done, 1'536'000U);

    AudioRenderer& renderer = engine->audioRenderer();
    EXPECT_TRUE(renderer.hasAudio());
    EXPECT_TRUE(renderer.isPlaying().get());
    EXPECT_EQ(renderer.audioBuffer()->frameLength(), 1'536'000U);
    EXPECT_EQ(renderer.audioBuffer()->channel(1)[1'535'999], 0.5F);
    EXPECT_EQ(renderer.audioBuffer()->channel(0)[0], 0.5F);

    device->audioValue = 0;
    device->milliseconds = 0;
    forget();
    engine->setSource("float2 sfx() { return 0; }");
    settle();
    EXPECT_FALSE(renderer.hasAudio()) << "silence";
    EXPECT_LT(commandBuffers("Audio").size(), 20U) << "quick songs come in few pieces";
}

TEST_F(AudioRendererTest, AFailedRenderingLeavesTheSongPlaying) {
    exactFrames = false;
    device->audioValue = 1;
    start("float2 sfx() { return 1; }");
    const auto before = engine->audioRenderer().audioBuffer();
    device->completesAtOnce = false;
    engine->setSource("float2 sfx() { while (true) {} }");
    settle();
    device->kernels.back()->stopped = true;
    device->completeNext(gpu::CommandBufferError{.code = gpu::CommandBufferError::Code::TimeLimit,
                                                 .message = "Audio: audio ran too long",
                                                 .kernel = "audio"});
    settle();
    EXPECT_EQ(engine->audioRenderer().audioBuffer(), before);
    EXPECT_FALSE(engine->isBusy());
    EXPECT_EQ(linesEqual("Error: Audio: audio ran too long"), 1);
    EXPECT_EQ(engine->fault().get(), "Audio: audio ran too long; the song before plays on");
}

TEST_F(AudioRendererTest, APieceThatWasLostWithoutFaultIsRenderedAgain) {
    device->audioValue = 1;
    start("float2 sfx() { return 1; }");
    device->completesAtOnce = false;
    device->audioValue = 0.25F;
    engine->setSource("float2 sfx() { return .25; }");
    settle();
    for (int piece = 0; engine->isBusy(); ++piece) {
        const auto lost = piece % 2 == 0 ? gpu::CommandBufferError::Code::ServiceLost
                                         : gpu::CommandBufferError::Code::Ended;
        device->completeNext(
            gpu::CommandBufferError{.code = lost, .message = "lost", .kernel = {}});
        settle();
        ASSERT_TRUE(engine->isBusy());
        device->completeNext();
        settle();
    }
    EXPECT_EQ(engine->audioRenderer().audioBuffer()->channel(0)[767'999], 0.25F);
    EXPECT_EQ(engine->fault().get(), "");
}

TEST_F(AudioRendererTest, OnlyANewSongIsRendered) {
    device->audioValue = 1;
    device->fingerprint = {1, 1};
    start("int4 music = {120,4,8,1};\nfloat2 sfx() { return 1; }\nvoid fx() {}");
    const auto song = engine->audioRenderer().audioBuffer();
    const auto memory = engine->machine().audioMemory;
    const auto rendersAfter = [this](const std::string& source) {
        forget();
        engine->setSource(source);
        settle();
        return !commandBuffers("Audio").empty();
    };
    EXPECT_FALSE(rendersAfter("int4 music = {120,4,8,1};\nfloat2 sfx() { return 1; }\nvoid fx() "
                              "{ }"));
    EXPECT_EQ(engine->audioRenderer().audioBuffer(), song);
    EXPECT_EQ(engine->machine().audioMemory, memory) << "which holds the song";
    EXPECT_TRUE(rendersAfter("int4 music = {120,4,8,2};\nfloat2 sfx() { return 1; }"));
    device->fingerprint = {1, 2};
    EXPECT_TRUE(rendersAfter("int4 music = {120,4,8,2};\nfloat2 sfx() { return 2; }"));

    // While a song is rendered: the same one goes on, another takes its place.
    device->completesAtOnce = false;
    device->fingerprint = {1, 3};
    EXPECT_TRUE(rendersAfter("float2 sfx() { return 3; }"));
    EXPECT_FALSE(rendersAfter("float2 sfx() { return 3; } // with a comment"));
    EXPECT_TRUE(engine->isBusy());
    device->fingerprint = {1, 4};
    EXPECT_TRUE(rendersAfter("float2 sfx() { return 4; }"));
    device->audioValue = 4;
    device->completesAtOnce = true;
    while (device->completeNext())
        settle();
    EXPECT_FALSE(engine->isBusy());
    EXPECT_EQ(engine->audioRenderer().audioBuffer()->channel(0)[700'000], 4.0F);
}

TEST_F(AudioRendererTest, SongsThatTakeLongShowHowFarTheyAre) {
    start("float2 sfx() { return 1; }");
    EXPECT_FALSE(engine->songProgress().get());
    device->completesAtOnce = false;
    engine->setSource("float2 sfx() { return 2; }");
    settle();
    device->completeNext();
    settle();
    EXPECT_FALSE(engine->songProgress().get()) << "not yet";
    std::this_thread::sleep_for(std::chrono::milliseconds(520));
    device->completeNext();
    settle();
    ASSERT_TRUE(engine->songProgress().get());
    EXPECT_NEAR(*engine->songProgress().get(), (2048.0 + 8192) / 768'000, 1e-6);
    device->completesAtOnce = true;
    device->completeNext();
    settle();
    EXPECT_FALSE(engine->songProgress().get());
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
