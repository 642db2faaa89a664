// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Frames that could only repeat the one before are not run, and all others are.
#include "tests/SL42/device/DeviceFixture.h"

#include <string>
#include <vector>

namespace starloom {
namespace {

class StillFrameTest : public DeviceTest {
protected:
    StillFrameTest() { exactFrames = false; }

    /// Starts a program and lets it come to rest, if it does.
    void rest(const std::string& source) {
        start(source);
        engine->waitForFont();
        for (int frame = 0; frame < 5; ++frame)
            nextFrame();
    }
    void nextFrame() {
        clock.advance(platform::Seconds(1.0 / 60));
        drawFrame();
    }
    /// Whether a frame is run.
    bool runs() {
        const auto before = m_view->pictureCount();
        nextFrame();
        return m_view->pictureCount() > before;
    }
    /// Whether it comes to rest again. Variants of kernels are made beside the frames.
    bool rests() {
        for (int frame = 0; frame < 200; ++frame) {
            if (!runs())
                return true;
            mainQueue.waitAndRun(std::chrono::milliseconds(10));
        }
        return false;
    }
};

constexpr const char* moon = "void fx() { cls(float3(0, 0, 0.5)); circ(resolution / 2, 50, 1); }";

} // namespace

TEST_F(StillFrameTest, OnlyWhatCannotChangeRests) {
    const std::pair<const char*, bool> cases[] = {
        {moon, false},
        {"void fx() { cls(0.25); print(\"still\", 5, float2(9), float4(1), 40, Bold); }", false},
        {"float2 sfx() { return 0; }", false}, // no picture
        {"void fx() { cls(time); }", true},
        {"void fx() { cls(float(sample)); }", true},
        {"void fx() { cls(randomfloat()); }", true}, // from the sample
        {"void fx() { cls(0.5); pixel += lpix(coords) * 0.5; }", true},
        {"void fx() { memory[int(coords.x)] += 1; cls(0.5); }", true},
        {"void fx() { cls(float(memory[0])); }", true},
        {"void fx() { registers[HDR] = 1; cls(2); }", true},
        {"void cpu() {} void fx() { cls(0.5); }", true},
    };
    for (const auto& [source, isRunning] : cases) {
        rest(source);
        EXPECT_EQ(runs(), isRunning) << source;
    }
}

TEST_F(StillFrameTest, WhatIsSeenWakesIt) {
    rest("void fx() { cls(float3(mousepos().x / 960, mousebutton().x, 0)); }");
    EXPECT_FALSE(runs());
    MouseValues values;
    values.setMouseLocation({0.5, 0});
    engine->setMouseValues(values);
    EXPECT_TRUE(runs());
    EXPECT_NEAR(picture().at(3, 3)[0], 0.5, 0.01);
    EXPECT_TRUE(rests());

    rest(moon);
    values.setMouseLocation({1, 0});
    engine->setMouseValues(values);
    EXPECT_FALSE(runs()) << "it does not look at the mouse";
    engine->reset();
    EXPECT_TRUE(runs());
    EXPECT_TRUE(rests());
    compile("void fx() { cls(float3(1, 0, 0)); }");
    EXPECT_TRUE(runs());
    EXPECT_NEAR(picture().at(3, 3)[0], 1, 0.01);

    rest("void fx() { cls(fract(time)); }");
    EXPECT_TRUE(runs());
    engine->playing.set(false);
    nextFrame();
    nextFrame();
    EXPECT_FALSE(runs());
    engine->playing.set(true);
    EXPECT_TRUE(runs());
}

TEST_F(StillFrameTest, TheOverlayWakesIt) {
    rest(moon);
    const auto texture = [](gpu::PixelFormat format) {
        return device->makeTexture({.format = format, .width = 2, .height = 2});
    };
    const auto luma = texture(gpu::PixelFormat::R8Unorm);
    ASSERT_TRUE(luma->replace(0, std::vector<std::byte>(4, std::byte{0xff}), 2));
    const auto chroma = texture(gpu::PixelFormat::RG8Unorm);
    ASSERT_TRUE(chroma->replace(0, std::vector<std::byte>(8, std::byte{0x80}), 4));
    engine->setEditorTexture(YUVTexture{luma, chroma});
    EXPECT_TRUE(runs());
    EXPECT_TRUE(rests());
    engine->showEditorOverlay.set(true);
    EXPECT_TRUE(runs());
    EXPECT_TRUE(rests());
    EXPECT_NEAR(picture().at(300, 200)[1], 1, 0.01) << "covered";
    engine->invertEditorOverlay.set(true);
    EXPECT_TRUE(runs());
    EXPECT_TRUE(rests());
    EXPECT_NEAR(picture().at(300, 200)[1], 0, 0.02);
}

} // namespace starloom
