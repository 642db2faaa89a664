// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Frames that lack something: a drawable, a kernel, the device.
#include "SL42/document/Journal.h"
#include "tests/SL42/ConsoleFixture.h"
#include "tests/ScratchFolder.h"

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

TEST_F(FrameTest, OnlyWholeProgramsThatDrewAreGood) {
    const tests::ScratchFolder folder;
    Journal journal(folder.path("journal"));
    Surroundings journalled = surroundings();
    journalled.keepers.journal = &journal;
    engine = std::make_unique<SL42>(journalled, "Test", "", false);
    const auto goodAfter = [&](const std::string& source) {
        engine->setSource(source);
        settle();
        drawFrame();
        return Journal::read(journal.file()).value_or(JournalEntry{}).good;
    };
    const std::string whole = "void cpu() {}\nvoid fx() {}";
    EXPECT_EQ(goodAfter(whole), whole);
    device->brokenKernels = {"video"};
    EXPECT_EQ(goodAfter("void cpu() { }\nvoid fx() { }"), whole);
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

TEST_F(FrameTest, WhatAFrameWritesToRegistersGovernsTheNext) {
    start("void fx() {}");
    drawFrame();
    const std::size_t built = device->kernels.size();
    setRegister(Register::BlendMode, 2);
    setRegister(Register::ColorMode, 1);
    drawFrame();
    EXPECT_EQ(device->kernels.size(), built);
    drawFrame();
    EXPECT_EQ(device->kernels.size(), built + 2); // video and display, once each
    setRegister(Register::BlendMode, 0);
    setRegister(Register::ColorMode, 0);
    drawFrame();
    drawFrame();
    EXPECT_EQ(device->kernels.size(), built + 2) << "kept";

    device->brokenKernels = {"video"};
    setRegister(Register::BlendMode, 1);
    drawFrame();
    forget();
    drawFrame();
    const auto video = commandBuffers("Render").at(0)->dispatches.at(0);
    EXPECT_EQ(video.constants.values().at(1).bytes[0], std::byte{0}) << "the one before stays";
    EXPECT_EQ(linesEqual("no pipeline for video"), 1);
}

TEST_F(FrameTest, FramesDoNotWaitForTheKernelOfAMode) {
    exactFrames = false;
    start("void fx() {}");
    drawFrame();
    device->answersAtOnce = false;
    const auto blendMode = [this] {
        forget();
        drawFrame();
        return commandBuffers("Render").at(0)->dispatches.at(0).constants.values().at(1).bytes[0];
    };
    for (int frame = 0; frame < 20; ++frame) { // as fast as a program can
        setRegister(Register::BlendMode, frame % 2 == 0 ? 2 : 1);
        EXPECT_EQ(blendMode(), std::byte{0});
    }
    EXPECT_EQ(device->questions.size(), 1U) << "one at a time";
    setRegister(Register::BlendMode, 2);
    blendMode();
    device->answer();
    settle();
    for (int round = 0; round < 3 && blendMode() != std::byte{2}; ++round) {
        device->answer();
        settle();
    }
    EXPECT_EQ(blendMode(), std::byte{2});
    device->answersAtOnce = true;
    engine->setSource("void fx() { }");
    settle();
    EXPECT_EQ(blendMode(), std::byte{2}) << "a new program, from its first frame on";
}

class FaultTest : public FrameTest {
protected:
    void SetUp() override { exactFrames = false; }
    /// The pipeline made last for that kernel.
    fake::Kernel& newest(const std::string& name) {
        for (auto kernel = device->kernels.rbegin(); kernel != device->kernels.rend(); ++kernel)
            if ((*kernel)->name == name)
                return **kernel;
        throw std::runtime_error("no kernel " + name);
    }
    /// Three frames are in flight when the kernel hangs.
    void hangInFlight(const std::string& name) {
        device->completesAtOnce = false;
        for (int frame = 0; frame < 3; ++frame)
            engine->draw(view());
        newest(name).stopped = true;
        auto error = hang();
        error.kernel = name;
        device->completeNext(error);
        device->completeNext();
        error.code = gpu::CommandBufferError::Code::PipelineStopped;
        for (int late = 0; late < 2; ++late) {
            device->completeNext(error);
            device->completeNext();
        }
        device->completesAtOnce = true;
        settle();
    }
};

TEST_F(FaultTest, AFrameThatFailsIsNotShownAndTheBanksAreAsBefore) {
    start("void cpu() {}\nvoid fx() {}");
    drawFrame();
    drawFrame();
    const auto banks = engine->machine().screenMemory;
    const int presented = view().presented;
    hangInFlight("video");
    EXPECT_EQ(view().presented, presented);
    EXPECT_EQ(linesEqual("Error: Render: video ran too long"), 1);
    EXPECT_EQ(engine->fault().get(),
              "Render: video ran too long; there is no earlier one to go back to");

    // The other stage goes on, the last picture stays on the screen.
    EXPECT_EQ(kernelsOfAFrame(), (std::vector<std::string>{"processor"}));
    EXPECT_EQ(view().presented, presented);
    EXPECT_EQ(engine->machine().screenMemory, banks) << "the last picture can still be read";
    // A register must not bring it back.
    setRegister(Register::BlendMode, 1);
    drawFrame();
    EXPECT_EQ(kernelsOfAFrame(), (std::vector<std::string>{"processor"}));

    engine->setSource("void fx() {}");
    settle();
    EXPECT_EQ(engine->fault().get(), "");
    EXPECT_EQ(kernelsOfAFrame(), (std::vector<std::string>{"processor", "video"}));
    EXPECT_EQ(view().presented, presented + 1);
}

TEST_F(FaultTest, AStageGoesBackToTheLastKernelThatDrew) {
    start("void cpu() {}\nvoid fx() {}");
    drawFrame();
    engine->setSource("void fx() { int b; }");
    settle();
    const auto constantsOfGood = newest("video").constants;
    for (int frame = 0; frame < 100; ++frame)
        drawFrame();
    newest("video").fingerprint = {7, 7};
    for (const char* wrong : {"void fx() { loop(); }", "void fx() { loop2(); }"}) {
        engine->setSource(wrong);
        settle();
        hangInFlight("video");
        EXPECT_EQ(engine->fault().get(),
                  "Render: video ran too long; the last good program goes on");
        const int presented = view().presented;
        EXPECT_EQ(kernelsOfAFrame(), (std::vector<std::string>{"processor", "video"}));
        EXPECT_EQ(view().presented, presented + 1);
    }
    // One that drew for a while and then hung: the one before it comes back.
    engine->setSource("void cpu() { int c; }");
    settle();
    drawFrame();
    hangInFlight("processor");
    EXPECT_EQ(kernelsOfAFrame(), (std::vector<std::string>{"processor", "video"}));
    EXPECT_EQ(engine->fault().get(), "Render: video ran too long; the last good program goes on");
}

TEST_F(FaultTest, FramesBehindOneThatFailedAreNotCarriedOut) {
    const gpu::CommandBufferError ended{
        .code = gpu::CommandBufferError::Code::Ended, .message = "ended", .kernel = {}};
    start("void fx() {}");
    device->completesAtOnce = false;
    forget();
    for (int frame = 0; frame < 3; ++frame)
        engine->draw(view());
    device->completeNext(ended);
    while (device->completeNext()) {
    }
    settle();
    for (const auto& commandBuffer : device->commandBuffers)
        EXPECT_TRUE(commandBuffer->error()) << commandBuffer->label();
    EXPECT_EQ(engine->fault().get(), "") << "nobody is to blame";

    // A frame that was ended for a newer program is followed by that program's.
    device->answersAtOnce = false;
    engine->setSource("void fx() { }");
    engine->draw(view());
    device->completeNext(ended);
    device->completeNext();
    settle();
    EXPECT_FALSE(engine->isReadyToDraw());
    for (int answers = 0; answers < 2; ++answers) {
        device->answer();
        settle();
    }
    EXPECT_TRUE(engine->isReadyToDraw());
    engine->setSource("void fx() {  }");
    EXPECT_TRUE(engine->isReadyToDraw()) << "while the next one is compiled";
}

TEST_F(FaultTest, NamesTheInnermostLineOfTheProgramItself) {
    start("// first\nvoid fx() {\n  circ();\n}");
    device->completesAtOnce = false;
    const auto faultAt = [this](std::vector<std::uint32_t> lines) {
        engine->draw(view());
        auto error = hang();
        error.lines = std::move(lines);
        error.what = "still in this loop after 2 s";
        device->completeNext(error);
        device->completeNext();
        settle();
        return engine->fault().get();
    };
    EXPECT_EQ(faultAt({300, 674, 673}), "line 3: still in this loop after 2 s; it runs on");
    EXPECT_EQ(faultAt({300, 9999}), "Render: video ran too long; it runs on");
    EXPECT_EQ(faultAt({}), "Render: video ran too long; it runs on");
    engine->draw(view());
    while (device->completeNext()) {
    }
    settle();
    EXPECT_EQ(engine->fault().get(), "") << "it has got over it";
    newest("video").stopped = true;
    EXPECT_EQ(faultAt({675}),
              "line 4: still in this loop after 2 s; there is no earlier one to go back to");
}

TEST_F(FaultTest, AFaultOfTheProgramBeforeIsNotHeldAgainstThisOne) {
    start("void fx() {}");
    device->completesAtOnce = false;
    engine->draw(view());
    engine->setSource("void fx() { }");
    device->completeNext(hang());
    settle();
    EXPECT_EQ(linesEqual("Error: Render: video ran too long"), 1);
    EXPECT_EQ(engine->fault().get(), "");
}

TEST_F(FaultTest, AStoppedDisplayComesBack) {
    start("void fx() {}");
    for (const auto& kernel : device->kernels)
        kernel->stopped = kernel->name == "display";
    forget();
    drawFrame();
    EXPECT_EQ(commandBuffers("Display").at(0)->dispatches.size(), 1U);
    EXPECT_FALSE(device->kernels.back()->stopped);
}

} // namespace starloom
