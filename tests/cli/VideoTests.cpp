// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// `starloom video`: the movie, played back.
#include "SL42/performance/PerformanceRecorder.h"
#include "platform/image/DisplayColours.h"
#include "platform/image/Png.h"
#include "tests/cli/RunStarloom.h"
#include "tests/platform/media/MediaReader.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <span>
#include <thread>

namespace cli::tests {
namespace {

using platform::tests::readSound;
using platform::tests::readVideo;

// Greys on the right, colours within and beyond what sRGB can show on the left; all of it moves.
constexpr const char* program =
    "int4 music = {240, 2, 1, 1};\n" // half a second
    "void fx() {\n"
    "    float2 p = coords / resolution;\n"
    "    float3 colour = float3(p.x * 2, p.y, 0.3 + time);\n"
    "    cls(p.x < 0.5 ? colour : float3(p.x + time / 2));\n"
    "}\n"
    "float2 sfx() { return 0.5 * sin(2 * pi * fract(400 * time)) * (time < 0.25 ? 1 : 0.5); }\n";

std::array<int, 3> channelsOf(std::uint32_t pixel) {
    return {static_cast<int>(pixel >> 16 & 255), static_cast<int>(pixel >> 8 & 255),
            static_cast<int>(pixel & 255)};
}

/// The movie of a program, played back. Each test has its own folder.
class Video : public testing::Test {
protected:
    platform::tests::DecodedVideo make(std::vector<std::string> arguments,
                                       const char* text = program) const {
        arguments.insert(arguments.begin(), {"video", "-", "-o", movie});
        const Outcome run = runStarloom(arguments, text);
        EXPECT_EQ(run.status, 0);
        EXPECT_EQ(run.out + run.err, "");
        return readVideo(movie).value();
    }

    const ScratchFolder scratch;
    const std::string movie = scratch.path("movie.mp4");
};

TEST_F(Video, ShowsWhatRenderShowsAndPlaysTheSongInALoop) {
    const auto video = make({"--seconds", "1.2", "--fps", "20"});
    ASSERT_EQ(video.frames.size(), 24U);
    EXPECT_NEAR(video.duration, 1.2, 1e-4);
    ASSERT_EQ(video.width, 1920U);
    EXPECT_EQ(video.height, 1080U);
    EXPECT_EQ(video.colours, "bt709/bt709/bt709/tv");

    constexpr std::uint32_t frame = 7;
    const std::string picture = scratch.path("frame.png");
    ASSERT_EQ(
        runStarloom({"render", "-", "-o", picture, "--frames", "8", "--fps", "20"}, program).status,
        0);
    const auto rendered = platform::readPng(picture);
    ASSERT_TRUE(rendered) << rendered.error().message;
    std::vector<std::uint32_t> expected(std::size_t{960} * 540);
    platform::convertToDisplay(rendered->halves(), expected);
    double distance = 0;
    int count = 0;
    for (std::size_t y = 5; y < 540; y += 53) {
        for (std::size_t x = 3; x < 960; x += 41) {
            const auto drawn = channelsOf(expected[y * 960 + x]);
            const std::size_t below = 2 * y + 1;
            const std::size_t right = 2 * x + 1;
            const auto shown = channelsOf(video.frames[frame].pixels[below * 1920 + right]);
            for (std::size_t channel = 0; channel < 3; ++channel, ++count) {
                const int step = std::abs(drawn[channel] - shown[channel]);
                distance += step;
                EXPECT_LE(step, 10) << x << ", " << y << " channel " << channel;
            }
        }
    }
    EXPECT_LT(distance / count, 1.5);

    const auto sound = readSound(movie);
    ASSERT_TRUE(sound) << sound.error().message;
    EXPECT_EQ(sound->duration, 57'600);
    ASSERT_EQ(sound->channels[0].size(), 57'600U);
    // Loud and less loud quarters of a second, from the beginning of the picture on.
    for (std::size_t quarter = 0; quarter < 4; ++quarter) {
        float peak = 0;
        for (std::size_t i = 2000; i < 10'000; ++i)
            peak = std::max(peak, std::abs(sound->channels[1][quarter * 12'000 + i]));
        EXPECT_NEAR(peak, quarter % 2 == 0 ? 0.5 : 0.25, 0.03) << quarter;
    }
}

TEST_F(Video, FitsOtherSizesAndHasNoSoundTrackWithoutASong) {
    const auto video = make({"--seconds", "0.1", "--fps", "30", "--size", "640x480"},
                            "void fx() { cls(float4(1)); }");
    ASSERT_EQ(video.frames.size(), 3U);
    const std::tuple<std::size_t, std::size_t, bool> places[] = {
        {320, 55, false}, {320, 64, true}, {0, 240, true}, {639, 415, true}, {320, 425, false}};
    for (const auto& [x, y, inPicture] : places) // 640 x 360 in the middle
        EXPECT_NEAR(channelsOf(video.frames[2].pixels[y * 640 + x])[1], inPicture ? 255 : 0, 7)
            << y;
    EXPECT_FALSE(readSound(movie));
}

// A frame that saw the sample before its own would miss the beat by a frame.
TEST_F(Video, EveryFrameOfTheSongSeesTheSampleThatSoundsWithIt) {
    const auto video = make({"--size", "64x64"}, "int4 music = {120, 3, 1, 1};\n"
                                                 "void fx() { cls(float4(sample % 800 == 0)); }\n"
                                                 "float2 sfx() { return 0.1; }\n");
    ASSERT_EQ(video.frames.size(), 90U) << "as long as the song unless told otherwise";
    for (std::size_t frame = 0; frame < 90; ++frame)
        EXPECT_GT(channelsOf(video.frames[frame].pixels[32 * 64 + 32])[0], 200) << frame;
    EXPECT_EQ(readSound(movie)->duration, 72'000);
}

TEST_F(Video, LeavesNothingBehindWhenItIsInterrupted) {
    scratch.file("movie.mp4", "the old one");
    const Outcome run =
        runStarloom({"video", "-", "-o", movie, "--seconds", "3600"}, program, [&](auto& starloom) {
            // Until it has begun to write.
            for (int wait = 0; wait < 600 && scratch.names().size() < 2; ++wait)
                std::this_thread::sleep_for(std::chrono::milliseconds(50));
            starloom.signal(SIGINT);
        });
    EXPECT_EQ(run.status, -SIGINT);
    EXPECT_EQ(run.err, "") << "it was wanted";
    EXPECT_EQ(scratch.names(), std::vector<std::string>{"movie.mp4"});
    EXPECT_EQ(contentsOf(movie), "the old one");
}

TEST_F(Video, HearsAndFeelsWhatFilesSay) {
    constexpr const char* listening =
        "void fx() { cls(float4(fft(8, Smoothed), keydown('a'), mousepos().x / 960, 1)); }";
    const std::string sound = scratch.path("sound.wav");
    ASSERT_EQ(runStarloom({"song", "-", "-o", sound}, program).status, 0);
    const std::string script =
        scratch.file("script.jsonl", "{\"frame\": 3, \"press\": \"a\", \"mouse\": [960, 9]}\n");
    std::vector<std::string> arguments{"video",   "-",     "-o",      movie,    "--seconds",
                                       "0.4",     "--fps", "20",      "--size", "64x64",
                                       "--audio", sound,   "--input", script};
    ASSERT_EQ(runStarloom(arguments, listening).status, 0);
    const auto video = readVideo(movie).value();
    const auto seen = [&](std::size_t frame) {
        return channelsOf(video.frames.at(frame).pixels[32 * 64 + 32]);
    };
    EXPECT_LT(seen(0)[0] + seen(0)[1] + seen(0)[2], 30);
    EXPECT_GT(seen(7)[0], 60);
    EXPECT_LT(seen(2)[1], 30);
    EXPECT_GT(seen(3)[1], 180);
    EXPECT_GT(seen(3)[2], 180);
    const std::string first = contentsOf(movie);
    ASSERT_EQ(runStarloom(arguments, listening).status, 0);
    EXPECT_TRUE(contentsOf(movie) == first) << "the same command gives the same bytes";

    scratch.file("script.jsonl", "\n{\"frame\": 1, \"press\": \"Hyper\"}\n");
    const Outcome wrong = runStarloom(arguments, listening);
    EXPECT_EQ(wrong.status, 1);
    EXPECT_EQ(wrong.err, "starloom: " + script + ":2: there is no key \"Hyper\"\n");
    EXPECT_TRUE(contentsOf(movie) == first);
}

TEST_F(Video, DrawsAPerformanceAnew) {
    const std::string path = scratch.path("show.perf");
    {
        auto recorder = starloom::PerformanceRecorder::start(path, "show");
        ASSERT_TRUE(recorder) << recorder.error().message;
        for (std::size_t number = 0; number < 12; ++number) { // ten a second
            starloom::PerformanceFrame frame{.clock = static_cast<double>(number) / 10};
            frame.songPlays = true;
            if (number == 0)
                frame.program = "void fx() { cls(float4(keydown('a'), 0, 0, 1)); }";
            if (number == 6)
                frame.program = std::string(program) + "void cpu() {}";
            frame.state.keyboard.state['a'] = number >= 3;
            (*recorder)->note(frame);
        }
    } // and nobody has stopped it
    const Outcome run =
        runStarloom({"video", "--performance", path, "--fps", "20", "--size", "128x72"});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.err, "starloom: warning: " + path +
                           ": The performance is cut off after 1.10 s; what comes later is left "
                           "out\n");
    const auto video = readVideo(scratch.path("show.mp4")).value();
    ASSERT_EQ(video.frames.size(), 23U) << "one for the last frame";
    const auto red = [&](std::size_t frame) {
        return channelsOf(video.frames.at(frame).pixels[36 * 128 + 64])[0];
    };
    EXPECT_LT(red(5), 30);
    EXPECT_GT(red(6), 200) << "0.3 s";
    const auto sound = readSound(scratch.path("show.mp4"));
    ASSERT_TRUE(sound) << sound.error().message;
    const auto peakOf = [&](std::size_t first) {
        const auto samples = std::span(sound->channels[0]).subspan(first, 4800);
        return std::abs(*std::ranges::max_element(samples));
    };
    EXPECT_LT(peakOf(9600), 0.02F);
    EXPECT_GT(peakOf(36'000), 0.3F) << "the song of the second program";
}

} // namespace
} // namespace cli::tests
