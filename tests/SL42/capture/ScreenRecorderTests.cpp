// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/capture/ScreenRecorder.h"
#include "tests/SL42/FakeDevice.h"
#include "tests/ScratchFolder.h"
#include "tests/platform/media/MediaReader.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace starloom {
namespace {

using Kind = platform::CaptureEvent::Kind;

/// Windows that are made up, and pictures that come when a test says so.
class FakeWindowCapture final : public platform::WindowCapture {
public:
    bool desktopPicks() const override { return picks; }
    platform::Result<std::vector<platform::CapturableWindow>> windows() override { return list; }
    platform::Result<platform::WindowPicture> picture(std::uint64_t) override {
        return platform::Error{"there is none"};
    }
    void start(std::optional<std::uint64_t> window, unsigned, PictureHandler onPicture,
               EventHandler onEvent) override {
        captured = window;
        m_onPicture = std::move(onPicture);
        m_onEvent = std::move(onEvent);
        ++starts;
    }
    void forgetChoice() override { ++forgotten; }
    void stop() override {
        m_onPicture = {};
        m_onEvent = {};
        captured.reset();
    }

    bool isCapturing() const { return static_cast<bool>(m_onPicture); }
    /// A picture of one colour.
    void send(std::uint32_t width, std::uint32_t height, std::uint32_t colour, double scale = 1) {
        const std::vector<std::uint32_t> pixels(std::size_t{width} * height, colour);
        m_onPicture({.pixels = std::as_bytes(std::span(pixels)),
                     .bytesPerRow = std::size_t{width} * 4,
                     .width = width,
                     .height = height,
                     .scale = scale});
    }
    void tell(platform::CaptureEvent::Kind kind, std::string description = {}) {
        const auto handler = m_onEvent;
        handler({kind, std::move(description)});
    }

    bool picks = false;
    std::vector<platform::CapturableWindow> list;
    std::optional<std::uint64_t> captured;
    int starts = 0;
    int forgotten = 0;

private:
    PictureHandler m_onPicture;
    EventHandler m_onEvent;
};

class ScreenRecorderTest : public testing::Test {
protected:
    ScreenRecorderTest() {
        recorder.textureUpdateBlock = [this](const std::optional<YUVTexture>& texture) {
            isShown = texture.has_value();
            if (texture)
                textures.push_back(*texture);
        };
        recorder.prepare();
        recorder.waitUntilPrepared();
    }
    void settle() {
        while (mainQueue.pump() > 0) {
        }
    }
    void startCapture() {
        ASSERT_TRUE(recorder.refreshAvailableContent());
        recorder.select(recorder.availableWindows().get().front());
        ASSERT_TRUE(recorder.start());
    }
    const gpu::TextureDescriptor& lastLuma() const { return textures.back().y->descriptor(); }

    platform::MainQueue mainQueue;
    std::vector<std::string> lines;
    platform::Log log{[this](std::string_view line) { lines.emplace_back(line); }};
    std::shared_ptr<fake::Device> device = std::make_shared<fake::Device>();
    FakeWindowCapture* source = nullptr;
    ScreenRecorder recorder{device, mainQueue, log,
                            [this]() -> platform::Result<std::unique_ptr<platform::WindowCapture>> {
                                auto made = std::make_unique<FakeWindowCapture>();
                                made->list = {
                                    {.identifier = 7, .application = "Vim", .title = "b.metal"},
                                    {.identifier = 8, .application = "", .title = "clock"},
                                    {.identifier = 9, .application = "", .title = ""},
                                    {.identifier = 5, .application = "Edit", .title = "a.metal"}};
                                source = made.get();
                                return std::unique_ptr<platform::WindowCapture>(std::move(made));
                            }};
    std::vector<YUVTexture> textures;
    bool isShown = false;
};

} // namespace

TEST_F(ScreenRecorderTest, RefusesToBeginWithoutAWindow) {
    const auto started = recorder.start();
    ASSERT_FALSE(started);
    EXPECT_EQ(started.error().message, "No window selected.");
    EXPECT_FALSE(recorder.isRunning().get());
    EXPECT_FALSE(recorder.startRecording("/tmp"));
    source->picks = true; // then nobody needs to select one
    EXPECT_TRUE(recorder.start());
    EXPECT_EQ(source->captured, std::nullopt);
    EXPECT_EQ(source->forgotten, 0);
    EXPECT_TRUE(recorder.pickAgain());
    EXPECT_EQ(source->forgotten, 1);
    EXPECT_EQ(source->starts, 2);

    ScreenRecorder without(device, mainQueue, log, {});
    EXPECT_FALSE(without.start());
    EXPECT_FALSE(without.refreshAvailableContent());
}

TEST_F(ScreenRecorderTest, EveryPointIsTwoPixels) {
    startCapture();
    EXPECT_EQ(source->captured, 5U);
    const std::tuple<std::uint32_t, std::uint32_t, double, std::uint32_t, std::uint32_t> cases[] = {
        {800, 600, 1, 1600, 1200}, {1600, 1200, 2, 1600, 1200}, {1001, 501, 1.25, 1600, 800},
        {1, 1, 3, 2, 2},           {9000, 2, 1, 9000, 4},
    };
    for (const auto& [width, height, scale, expectedWidth, expectedHeight] : cases) {
        source->send(width, height, 0x808080, scale);
        settle();
        EXPECT_EQ(lastLuma().width, expectedWidth);
        EXPECT_EQ(lastLuma().height, expectedHeight);
        EXPECT_EQ(lastLuma().format, gpu::PixelFormat::R8Unorm);
        EXPECT_EQ(textures.back().uv->width(), expectedWidth / 2);
        EXPECT_EQ(textures.back().uv->descriptor().format, gpu::PixelFormat::RG8Unorm);
    }
}

TEST_F(ScreenRecorderTest, WhatIsShownIsNotOverwritten) {
    startCapture();
    // The main thread is late: only the newest counts, and memory does not grow.
    for (int i = 0; i < 100; ++i)
        source->send(64, 48, 0);
    settle();
    ASSERT_EQ(textures.size(), 1U);
    EXPECT_EQ(recorder.frameCount(), 1U);
    std::vector<gpu::Texture*> different;
    for (int i = 0; i < 50; ++i) {
        source->send(64, 48, 0);
        settle();
        ASSERT_NE(textures.back().y, textures[textures.size() - 2].y) << "is still on the stage";
        if (std::ranges::find(different, textures.back().y.get()) == different.end())
            different.push_back(textures.back().y.get());
        while (textures.size() > 3)
            textures.erase(textures.begin());
    }
    EXPECT_LE(different.size(), CaptureSurfacePool::maxSurfaces);
}

TEST_F(ScreenRecorderTest, EndsWithAReasonOrWithout) {
    startCapture();
    source->send(64, 48, 0);
    settle();
    source->tell(Kind::Paused, "The window is minimised");
    settle();
    EXPECT_EQ(recorder.state().get(), "The window is minimised");
    EXPECT_TRUE(recorder.isRunning().get());
    source->tell(Kind::Resumed);
    settle();
    EXPECT_EQ(recorder.state().get(), "");
    source->tell(Kind::Stopped, "The window was closed");
    settle();
    EXPECT_FALSE(recorder.isRunning().get());
    EXPECT_EQ(recorder.state().get(), "The window was closed");
    EXPECT_FALSE(isShown) << "nothing is left on the stage";
    EXPECT_FALSE(source->isCapturing());

    startCapture();
    source->send(64, 48, 0);
    recorder.stop();
    const auto count = textures.size();
    settle(); // the frame was on its way
    EXPECT_EQ(textures.size(), count);
    EXPECT_EQ(recorder.state().get(), "");
}

TEST_F(ScreenRecorderTest, GoesOnWithAnotherWindow) {
    startCapture();
    source->tell(Kind::Stopped, "closed");
    recorder.select(recorder.availableWindows().get()[1]);
    EXPECT_EQ(source->captured, 7U);
    settle(); // the first window's end is not the second's
    EXPECT_TRUE(recorder.isRunning().get());
}

TEST_F(ScreenRecorderTest, RecordsToAFile) {
    const ::tests::ScratchFolder scratch;
    startCapture();
    ASSERT_TRUE(recorder.startRecording(scratch.path("movies")));
    EXPECT_TRUE(recorder.isRecordingStream().get());
    EXPECT_EQ(source->starts, 2) << "a still window shows itself again";
    source->send(203, 101, 0xff0000);
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    source->send(400, 80, 0x00ff00); // another size in the middle
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    const auto file = recorder.recordingOutputPath();
    recorder.stopRecording();
    for (int i = 0; i < 1000 && lines.empty(); ++i)
        mainQueue.waitAndRun(std::chrono::milliseconds(10));
    ASSERT_EQ(lines, std::vector<std::string>{"Recorded " + file.string()});
    EXPECT_TRUE(recorder.isRunning().get());
    const auto movie = platform::tests::readVideo(file.string());
    ASSERT_TRUE(movie) << movie.error().message;
    EXPECT_EQ(movie->width, 202U);
    EXPECT_EQ(movie->height, 100U);
    ASSERT_GE(movie->frames.size(), 8U);
    const auto middle = [](const platform::tests::DecodedFrame& frame) {
        return frame.pixels[50 * 202 + 101];
    };
    EXPECT_GT(middle(movie->frames.front()) >> 16 & 0xff, 200U);
    EXPECT_GT(middle(movie->frames.back()) >> 8 & 0xff, 200U);
}

} // namespace starloom
