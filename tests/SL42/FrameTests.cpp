// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Frames that lack something: a drawable, a kernel, the device.
#include "tests/SL42/ConsoleFixture.h"

#include <algorithm>

namespace starloom {
namespace {

using FrameTest = ConsoleTest;

gpu::CommandBufferError hang() {
    return {.code = gpu::CommandBufferError::Code::TimeLimit,
            .message = "Render: video ran too long",
            .kernel = "video"};
}

} // namespace

TEST_F(FrameTest, BindsTheFontOnceAProgramDrawsText) {
    const auto fontWidth = [this] {
        forget();
        drawFrame();
        return commandBuffers("Render").at(0)->dispatches.at(0).textures.at(2)->width();
    };
    start("void fx() {}");
    EXPECT_EQ(fontWidth(), 1U);
    engine->setSource("void fx() { print(a, 1, 0, 1); }");
    EXPECT_EQ(fontWidth(), 4096U);
    engine->waitForFont();
    engine->setSource("void fx() {}");
    EXPECT_EQ(fontWidth(), 4096U);
    EXPECT_TRUE(commandBuffers("Font texture").empty()) << "made once";
}

TEST_F(FrameTest, KeepsTheBanksWithoutADrawable) {
    start(allThree);
    view().hasDrawables = false;
    const auto banks = engine->machine().screenMemory;
    for (int frame = 0; frame < 5; ++frame) {
        forget();
        drawFrame(); // would wait for ever if a slot were not given back
        EXPECT_EQ(device->commandBuffers.size(), 1U);
    }
    EXPECT_EQ(engine->machine().screenMemory, banks);
    view().hasDrawables = true;
    device->refusesCommandBuffers = true;
    for (int frame = 0; frame < 5; ++frame)
        drawFrame();
    device->refusesCommandBuffers = false;
    drawFrame();
    EXPECT_EQ(view().presented, 1);
}

TEST_F(FrameTest, KernelsAreBuiltOnceForAModeAndKeptWhenThatFails) {
    start("void fx() {}");
    drawFrame();
    const std::size_t built = device->kernels.size();
    setRegister(Register::BlendMode, 2);
    setRegister(Register::ColorMode, 1);
    drawFrame();
    EXPECT_EQ(device->kernels.size(), built + 2); // video and display, once each
    drawFrame();
    EXPECT_EQ(device->kernels.size(), built + 2);

    device->brokenKernels = {"video"};
    setRegister(Register::BlendMode, 1);
    forget();
    drawFrame();
    const auto video = commandBuffers("Render").at(0)->dispatches.at(0);
    EXPECT_EQ(video.constants.values().at(1).bytes[0], std::byte{2});
}

TEST_F(FrameTest, AStoppedKernelRestsUntilTheNextProgram) {
    start("void cpu() {}\nvoid fx() {}");
    settle();
    device->completesAtOnce = false;
    engine->draw(view());
    engine->draw(view());
    const auto video = std::ranges::find(device->kernels, "video", [](auto& k) { return k->name; });
    (*video)->stopped = true;
    device->completeNext(hang());
    device->completeNext();
    auto late = hang();
    late.code = gpu::CommandBufferError::Code::PipelineStopped;
    device->completeNext(late);
    device->completeNext();
    device->completesAtOnce = true;
    settle();
    EXPECT_EQ(linesEqual("Error: Render: video ran too long"), 1);
    EXPECT_EQ(engine->fault().get(), "Render: video ran too long");

    // A register must not bring it back.
    setRegister(Register::BlendMode, 1);
    forget();
    drawFrame();
    const auto render = commandBuffers("Render").at(0)->dispatches;
    ASSERT_EQ(render.size(), 1U);
    EXPECT_EQ(render[0].kernel, "processor");

    engine->setSource("void fx() {}");
    settle();
    EXPECT_EQ(engine->fault().get(), "");
    forget();
    drawFrame();
    EXPECT_EQ(commandBuffers("Render").at(0)->dispatches.size(), 2U);
}

TEST_F(FrameTest, AFaultOfTheProgramBeforeIsNotHeldAgainstThisOne) {
    start("void fx() {}");
    settle();
    device->completesAtOnce = false;
    engine->draw(view());
    engine->setSource("void fx() { }");
    device->completeNext(hang());
    settle();
    EXPECT_EQ(linesEqual("Error: Render: video ran too long"), 1);
    EXPECT_EQ(engine->fault().get(), "");
}

TEST_F(FrameTest, AStoppedDisplayComesBack) {
    start("void fx() {}");
    for (const auto& kernel : device->kernels)
        kernel->stopped = kernel->name == "display";
    forget();
    drawFrame();
    EXPECT_EQ(commandBuffers("Display").at(0)->dispatches.size(), 1U);
    EXPECT_FALSE(device->kernels.back()->stopped);
}

} // namespace starloom
