// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Time, frames in flight and reset.
#include "tests/SL42/ConsoleFixture.h"

namespace starloom {

using EngineTest = ConsoleTest;
using EngineDeathTest = ConsoleTest;
using platform::Seconds;

TEST_F(EngineTest, TimeLoopsWithTheSong) {
    start("int4 music = {120,4,8,1};\nvoid fx() {}");
    clock.set(Seconds(100)); // time starts with the first frame
    const std::tuple<double, float, std::uint32_t> cases[] = {
        {0, 0, 0}, {1.25, 1.25F, 60'000}, {15.875, 15.875F, 762'000}, {16, 0, 0}, {33, 1, 48'000}};
    for (const auto& [elapsed, time, sample] : cases) {
        clock.set(Seconds(100 + elapsed));
        drawFrame();
        EXPECT_EQ(engine->time(), time) << elapsed;
        EXPECT_EQ(engine->sample(), sample) << elapsed;
    }
    forget();
    drawFrame();
    const auto video = commandBuffers("Render").at(0)->dispatches.at(0);
    EXPECT_EQ(fake::boundValue<float>(video, 2), 1.0F);
    EXPECT_EQ(fake::boundValue<std::uint32_t>(video, 3), 48'000U);
}

TEST_F(EngineTest, PausingHoldsTimeAndResumingCatchesUp) {
    start("void fx() {}");
    drawFrame();
    engine->playing.set(false);
    clock.advance(Seconds(3));
    forget();
    drawFrame();
    EXPECT_EQ(engine->time(), 0);
    EXPECT_EQ(commandBuffers("Render").size(), 1U); // frames go on
    engine->playing.set(true);
    drawFrame();
    EXPECT_EQ(engine->time(), 3);
}

TEST_F(EngineTest, ResetStartsOver) {
    start("void fx() {}");
    drawFrame();
    clock.advance(Seconds(2));
    setRegister(Register::HDR, 1);
    drawFrame();
    const auto memory = engine->machine().memory;
    engine->reset();
    EXPECT_EQ(engine->time(), 0);
    EXPECT_EQ(engine->sample(), 96'000U); // until the next frame
    EXPECT_NE(engine->machine().memory, memory);
    EXPECT_EQ(engine->machine().registers->contents()[2], std::byte{0});
    EXPECT_EQ(view().displayRequests, 0);
    drawFrame();
    EXPECT_EQ(engine->sample(), 0U);
    engine->playing.set(false);
    engine->reset();
    EXPECT_EQ(view().displayRequests, 1);
}

TEST_F(EngineTest, WithASongTheSampleIsThePlayers) {
    start("int4 music = {120,4,4,1};\nfloat2 sfx() { return 1; }");
    drawFrame();
    clock.advance(Seconds(10));
    drawFrame();
    EXPECT_EQ(engine->time(), 2); // of a song of 8 seconds
    EXPECT_EQ(engine->sample(), 480'000U);
    engine->reset();
    drawFrame();
    EXPECT_EQ(engine->sample(), 0U);
}

TEST_F(EngineDeathTest, NeedsADeviceMemoryAndASongWithALength) {
    start("void fx() {}");
    engine->audioRenderer().audioSpec.patternCount = 0;
    EXPECT_DEATH(drawFrame(), "Fatal error: The time is not a position");
    device->buffersLeft = 6;
    EXPECT_DEATH(start(""), "Fatal error: Couldn't allocate virtual machine buffers\n");
    device->buffersLeft = 7;
    EXPECT_DEATH(start(""), "Fatal error: Couldn't allocate audio memory\n");
    device->buffersLeft = 100; // the song's samples can be counted, but not its bytes
    EXPECT_DEATH(start("int4 music = {1, 1000000, 1000000, 1};"),
                 "Fatal error: Couldn't allocate audio memory\n");
    device = nullptr;
    EXPECT_DEATH(start(""), "Fatal error: There is no GPU device");
}

TEST_F(EngineDeathTest, DisplayThatNoFreshWorkerCanCompile) {
    device->brokenKernels = {"display"};
    EXPECT_DEATH(start(""), "Fatal error: ");
}

TEST_F(EngineTest, DisplayThatDoesNotCompileGetsAFreshWorker) {
    device->brokenKernels = {"display"};
    device->goodWorker = 2;
    start("void fx() {}");
    drawFrame();
    EXPECT_EQ(device->replacedWorkers, 2);
    EXPECT_EQ(view().presented, 1);

    device->brokenKernels = {"display"};
    device->goodWorker = 1000;
    setRegister(Register::HDR, 1);
    for (int i = 0; i < 5; ++i)
        drawFrame();
    EXPECT_EQ(view().presented, 6) << "with the variant that there is";
    EXPECT_EQ(device->replacedWorkers, 4) << "and that is all that is tried";
}

TEST_F(EngineTest, ThreeFramesAreInFlightAtMost) {
    start("void fx() {}");
    settle();
    device->completesAtOnce = false;
    forget();
    for (int frame = 0; frame < 3; ++frame)
        engine->draw(view());
    EXPECT_EQ(commandBuffers("Render").size(), 3U);
    // The fourth frame waits. What ends the wait is a task that itself waits in the main queue.
    bool completed = false;
    mainQueue.async([&] {
        EXPECT_EQ(commandBuffers("Render").size(), 3U);
        completed = device->completeNext();
    });
    engine->draw(view());
    EXPECT_TRUE(completed);
    EXPECT_EQ(commandBuffers("Render").size(), 4U);
}

TEST_F(EngineTest, PointerFollowsItsRegister) {
    start("void fx() {}");
    drawFrame();
    EXPECT_TRUE(view().showCursor());
    const int updates = view().cursorUpdates;
    drawFrame();
    EXPECT_EQ(view().cursorUpdates, updates);
    setRegister(Register::MousePointer, 9);
    drawFrame();
    EXPECT_TRUE(view().showCursor()) << "what a frame writes governs the next one";
    drawFrame();
    EXPECT_FALSE(view().showCursor());
    setRegister(Register::MousePointer, 0);
    drawFrame();
    drawFrame();
    EXPECT_TRUE(view().showCursor());
    EXPECT_EQ(view().cursorUpdates, updates + 2);
}

TEST_F(EngineTest, GoesAwayWithFramesInFlight) {
    start(allThree);
    settle();
    device->completesAtOnce = false;
    engine->draw(view());
    engine->setSource("void fx() {}");
    engine.reset();
    EXPECT_TRUE(device->pending.empty());
    settle(); // what its frames left in the main queue finds it gone
}

} // namespace starloom
