// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A performance of 20 seconds with three saves, a reset, keys, mouse and sound, recorded from one
// console and drawn anew by another.
#include "SL42/console/PerformanceRecording.h"
#include "SL42/offline/PerformanceReplay.h"
#include "SL42/performance/PerformanceReader.h"

#include "gpu/Device.h"
#include "tests/ScratchFolder.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace starloom {
namespace {

constexpr std::size_t framesPerSecond = 10;
constexpr std::size_t frameCount = 20 * framesPerSecond;

/// Counts frames in memory, so that a frame too many or too few shows from there on.
std::string programOf(const char* colour, const char* song = "") {
    return std::string("int4 music = {240, 2, 2, 1};\n"
                       "void cpu() {\n"
                       "    if (core != 0) return;\n"
                       "    poke32(peek32<int>(0) + 1, 0);\n"
                       "    if (keystroke('x')) poke32(peek32<int>(4) + 1, 4);\n"
                       "}\n"
                       "void fx() {\n"
                       "    float count = float(peek32<int>(0)) / 256;\n"
                       "    float level = fft(20, Smoothed);\n"
                       "    float near = length(coords - mousepos()) < 40 ? 1.0 : 0.0;\n"
                       "    cls(float4(") +
           colour + ", 1));\n}\n" + song;
}

const std::string programs[] = {
    programOf("count, level, near"),
    programOf("near, count, float(peek32<int>(4)) / 8",
              "float2 sfx() { return 0.5 * sin(2 * pi * fract(400 * time)); }\n"),
    programOf("time / 4, float(sample % 48000) / 48000, keydown('x') ? 1.0 : 0.0"),
    programOf("level, mousebutton().x ? 1.0 : 0.0, count"),
};

InputFiles input() {
    InputFiles files{.soundName = "noise", .sound = {}, .events = {}};
    for (std::size_t i = 0; i < std::size_t{15} * 48'000; ++i)
        files.sound.push_back(0.3F * std::sin(static_cast<float>(i % 4800) * 0.11F *
                                              static_cast<float>(1 + i / 48'000)));
    files.events = parseInputScript("{\"second\": 1, \"press\": \"x\", \"mouse\": [300, 200]}\n"
                                    "{\"second\": 3, \"release\": \"x\", \"left\": true}\n"
                                    "{\"second\": 6, \"press\": \"x\", \"mouse\": [500, 300]}\n"
                                    "{\"second\": 14, \"release\": \"x\", \"left\": false}\n"
                                    "{\"second\": 17, \"left\": true}\n")
                       .value();
    return files;
}

class PerformanceReplayTest : public testing::Test {
protected:
    /// Draws the performance and gives the pictures that were seen.
    std::vector<platform::Image> perform() {
        OfflineConsole stage(device, "show", programs[0]);
        EXPECT_TRUE(stage.isComplete()) << stage.compileLog();
        stage.setInput(input());
        EXPECT_TRUE(stage.drawFrame(platform::Seconds(0))) << "before the recording";
        auto recording = PerformanceRecording::start(stage.engine(), path);
        EXPECT_TRUE(recording) << recording.error().message;
        std::vector<platform::Image> seen;
        for (std::size_t frame = 0; frame < frameCount; ++frame) {
            if (frame > 0 && frame % 50 == 0)
                stage.setSource(programs[frame / 50]);
            if (frame == 120)
                stage.engine().reset();
            const double time = 5 + static_cast<double>(frame) / framesPerSecond;
            const auto drawn = stage.drawFrame(platform::Seconds(time));
            EXPECT_TRUE(drawn) << drawn.error().message;
            seen.push_back(stage.picture().value());
        }
        EXPECT_NEAR((*recording)->duration(), 19.9, 1e-9);
        EXPECT_TRUE((*recording)->stop());
        return seen;
    }

    tests::ScratchFolder scratch;
    std::string path = scratch.path("show.perf");
    std::shared_ptr<gpu::Device> device = gpu::Device::systemDefault();
};

TEST_F(PerformanceReplayTest, DrawsWhatWasSeen) {
    const std::vector<platform::Image> seen = perform();
    std::size_t changes = 0;
    for (std::size_t frame = 1; frame < seen.size(); ++frame)
        changes += seen[frame] != seen[frame - 1];
    EXPECT_GT(changes, frameCount / 2) << "or there would be nothing to tell frames by";

    auto reader = PerformanceReader::open(path);
    ASSERT_TRUE(reader) << reader.error().message;
    PerformanceReplay replay(device, reader->title());
    std::size_t count = 0;
    std::size_t saves = 0;
    while (const auto frame = reader->next()) {
        ASSERT_LT(count, seen.size());
        saves += frame->program.has_value();
        ASSERT_TRUE(replay.draw(*frame));
        EXPECT_EQ(replay.console().picture().value() == seen[count], true) << "frame " << count;
        ++count;
    }
    EXPECT_EQ(count, frameCount);
    EXPECT_EQ(saves, 4U);
    EXPECT_FALSE(reader->damage());
    EXPECT_FALSE(replay.fault()) << *replay.fault();
}

TEST_F(PerformanceReplayTest, GoesOnBehindAProgramThatDoesWrong) {
    ASSERT_TRUE(device);
    PerformanceFrame frame{.clock = 0};
    frame.program = "void fx() { cls(float4(1, 0, 0, 1)); }";
    PerformanceReplay replay(device, "show");
    ASSERT_TRUE(replay.draw(frame));
    const platform::Image before = replay.console().picture().value();
    device->setTimeLimit(std::chrono::milliseconds(300));
    frame.program = "void fx() { while (time >= 0) { poke32(peek32<int>(0) + 1, 0); } }";
    ASSERT_TRUE(replay.draw(frame));
    EXPECT_TRUE(replay.fault());
    EXPECT_EQ(replay.console().picture().value() == before, true);
    frame.program = "void fx() { cls(float4(0, 1, 0, 1)); }";
    ASSERT_TRUE(replay.draw(frame));
    EXPECT_GT(replay.console().picture().value().pixel(5, 5)[1], 0.9F);
    frame.program = "int4 music = {0, 1, 1, 1};\nvoid fx() {}";
    EXPECT_FALSE(replay.draw(frame)) << "it would stop a console";
}

} // namespace
} // namespace starloom
