// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What one frame tells the device, and how the stages follow the registers.
#include "tests/SL42/ConsoleFixture.h"

#include <algorithm>

namespace starloom {
namespace {

using FrameTest = ConsoleTest;
using gpu::Size3;

gpu::CommandBufferError hang() {
    return {.code = gpu::CommandBufferError::Code::TimeLimit,
            .message = "Render: video ran too long",
            .kernel = "video"};
}

std::int8_t charConstant(const fake::Dispatch& dispatch, std::uint32_t index) {
    return static_cast<std::int8_t>(dispatch.constants.values().at(index).bytes[0]);
}

} // namespace

TEST_F(FrameTest, RunsCpuThenFxThenShowsThem) {
    start(allThree);
    settle();
    forget();
    const auto banks = engine->machine().screenMemory;
    drawFrame();

    ASSERT_EQ(device->commandBuffers.size(), 2U);
    EXPECT_EQ(device->commandBuffers[0]->label(), "Render");
    const auto render = fake::dispatches(*device->commandBuffers[0]);
    ASSERT_EQ(render.size(), 2U);
    EXPECT_EQ(render[0].kernel, "processor");
    EXPECT_EQ(render[0].threads, (Size3{4096, 1, 1}));
    EXPECT_EQ(render[0].group, (Size3{64, 1, 1}));
    EXPECT_EQ(charConstant(render[0], 1), 0);
    EXPECT_EQ(render[1].kernel, "video");
    EXPECT_EQ(render[1].encoderLabel, "Video encoder");
    EXPECT_EQ(render[1].threads, (Size3{960, 540, 1}));
    EXPECT_EQ(render[1].group, (Size3{8, 8, 1}));
    EXPECT_TRUE(render[1].textures.contains(2));
    EXPECT_EQ(render[1].buffers.at(5).buffer, banks[0]);

    const auto& shown = *device->commandBuffers[1];
    ASSERT_EQ(shown.commands.size(), 2U);
    const auto& display = std::get<fake::Dispatch>(shown.commands[0]);
    EXPECT_EQ(display.kernel, "display");
    EXPECT_EQ(display.encoderLabel, "Display encoder");
    EXPECT_EQ(display.threads, (Size3{960, 540, 1}));
    EXPECT_EQ(display.group, (Size3{8, 8, 1}));
    EXPECT_EQ(display.buffers.at(0).buffer, banks[0]);
    EXPECT_TRUE(display.textures.contains(0) && display.textures.contains(1));
    EXPECT_TRUE(display.textures.contains(2));
    EXPECT_EQ(std::get<fake::Fill>(shown.commands[1]).buffer, banks[1]);
    EXPECT_EQ(view().presented, 1);
    EXPECT_EQ(engine->machine().screenMemory[0], banks[1]);
}

TEST_F(FrameTest, BindsTheFontOnceAProgramDrawsText) {
    const auto fontWidth = [this] {
        forget();
        drawFrame();
        return fake::dispatches(*commandBuffers("Render").at(0)).at(0).textures.at(2)->width();
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

TEST_F(FrameTest, EmptyStagesEncodeNothing) {
    start("float2 sfx() { return 0; }");
    forget();
    drawFrame();
    EXPECT_TRUE(commandBuffers("Render").at(0)->commands.empty());
    EXPECT_EQ(view().presented, 1);
}

TEST_F(FrameTest, VideoKernelFollowsColourAndBlendMode) {
    start("void fx() {}");
    drawFrame();
    const std::size_t built = device->kernels.size();
    setRegister(Register::BlendMode, 2);
    setRegister(Register::ColorMode, 1);
    forget();
    drawFrame();
    const auto video = fake::dispatches(*commandBuffers("Render").at(0)).at(0);
    EXPECT_EQ(charConstant(video, 0), 1);
    EXPECT_EQ(charConstant(video, 1), 2);
    EXPECT_EQ(device->kernels.size(), built + 2); // video and display, once each
    drawFrame();
    EXPECT_EQ(device->kernels.size(), built + 2);

    device->brokenKernels = {"video"};
    setRegister(Register::BlendMode, 1);
    forget();
    drawFrame();
    EXPECT_EQ(charConstant(fake::dispatches(*commandBuffers("Render").at(0)).at(0), 1), 2);
}

TEST_F(FrameTest, DisplayKernelFollowsRegistersAndOverlay) {
    start("void fx() {}");
    const auto constants = [this] {
        forget();
        drawFrame();
        const auto display = fake::dispatches(*commandBuffers("Display").at(0)).at(0);
        std::array<int, 4> values{};
        for (std::uint32_t i = 0; i < values.size(); ++i)
            values[i] = charConstant(display, i);
        return values;
    };
    using Constants = std::array<int, 4>;
    EXPECT_EQ(constants(), (Constants{0, 0, 0, 0}));
    setRegister(Register::HDR, 7);
    EXPECT_EQ(constants(), (Constants{0, 1, 0, 0}));
    setRegister(Register::ColorMode, 2);
    engine->setInvertEditorOverlay(true);
    EXPECT_EQ(constants(), (Constants{2, 1, 0, 1}));

    engine->setShowEditorOverlay(true); // nothing to show yet
    EXPECT_EQ(lines.back(), "Showing editor overlay");
    EXPECT_EQ(constants(), (Constants{2, 1, 0, 1}));
    const YUVTexture editor{device->makeTexture({}), device->makeTexture({})};
    engine->setEditorTexture(editor);
    EXPECT_EQ(constants(), (Constants{2, 1, 1, 1}));
    const auto display = fake::dispatches(*commandBuffers("Display").at(0)).at(0);
    EXPECT_EQ(display.textures.at(0), editor.y);
    EXPECT_EQ(display.textures.at(1), editor.uv);
    engine->setShowEditorOverlay(false);
    EXPECT_EQ(lines.back(), "Hiding editor overlay");
    EXPECT_EQ(constants(), (Constants{2, 1, 0, 1}));
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
    const auto render = fake::dispatches(*commandBuffers("Render").at(0));
    ASSERT_EQ(render.size(), 1U);
    EXPECT_EQ(render[0].kernel, "processor");

    engine->setSource("void fx() {}");
    settle();
    EXPECT_EQ(engine->fault().get(), "");
    forget();
    drawFrame();
    EXPECT_EQ(fake::dispatches(*commandBuffers("Render").at(0)).size(), 2U);
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
    EXPECT_EQ(fake::dispatches(*commandBuffers("Display").at(0)).size(), 1U);
    EXPECT_FALSE(device->kernels.back()->stopped);
}

} // namespace starloom
