// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// `starloom video`: the movie, played back.
#include "platform/image/Png.h"
#include "tests/cli/RunStarloom.h"
#include "tests/platform/media/MediaReader.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <csignal>
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

double toLight(double encoded) {
    return encoded <= 0.04045 ? encoded / 12.92 : std::pow((encoded + 0.055) / 1.055, 2.4);
}

int toByte(double light) {
    light = std::clamp(light, 0.0, 1.0);
    const double encoded =
        light <= 0.0031308 ? light * 12.92 : 1.055 * std::pow(light, 1 / 2.4) - 0.055;
    return static_cast<int>(std::lround(encoded * 255));
}

/// A pixel of a picture file in Display P3, in sRGB. The matrix follows from the primaries.
std::array<int, 3> inSRGB(const platform::Image& image, std::uint32_t x, std::uint32_t y) {
    const auto rgba = image.pixel(x, y);
    const double r = toLight(rgba[0]);
    const double g = toLight(rgba[1]);
    const double b = toLight(rgba[2]);
    return {toByte(1.22494 * r - 0.22494 * g), toByte(-0.04206 * r + 1.04206 * g),
            toByte(-0.01964 * r - 0.07864 * g + 1.09827 * b)};
}

std::array<int, 3> channelsOf(std::uint32_t pixel) {
    return {static_cast<int>(pixel >> 16 & 255), static_cast<int>(pixel >> 8 & 255),
            static_cast<int>(pixel & 255)};
}

TEST(Video, ShowsWhatRenderShowsAndPlaysTheSongInALoop) {
    const ScratchFolder scratch;
    const std::string movie = scratch.path("movie.mp4");
    const Outcome run =
        runStarloom({"video", "-", "-o", movie, "--seconds", "1.2", "--fps", "20"}, program);
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out + run.err, "");

    const auto video = readVideo(movie);
    ASSERT_TRUE(video) << video.error().message;
    ASSERT_EQ(video->frames.size(), 24U);
    EXPECT_NEAR(video->duration, 1.2, 1e-4);
    EXPECT_EQ(video->width, 1920U);
    EXPECT_EQ(video->height, 1080U);
    EXPECT_EQ(video->colours, "bt709/bt709/bt709/tv");

    constexpr std::uint32_t frame = 7;
    const std::string picture = scratch.path("frame.png");
    ASSERT_EQ(
        runStarloom({"render", "-", "-o", picture, "--frames", "8", "--fps", "20"}, program).status,
        0);
    const auto rendered = platform::readPng(picture);
    ASSERT_TRUE(rendered) << rendered.error().message;
    double distance = 0;
    int count = 0;
    for (std::uint32_t y = 5; y < 540; y += 53) {
        for (std::uint32_t x = 3; x < 960; x += 41) {
            const auto expected = inSRGB(*rendered, x, y);
            const std::size_t below = 2 * std::size_t{y} + 1;
            const std::size_t right = 2 * std::size_t{x} + 1;
            const auto shown = channelsOf(video->frames[frame].pixels[below * 1920 + right]);
            for (std::size_t channel = 0; channel < 3; ++channel, ++count) {
                const int step = std::abs(expected[channel] - shown[channel]);
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

TEST(Video, FitsOtherSizesAndHasNoSoundTrackWithoutASong) {
    const ScratchFolder scratch;
    const std::string movie = scratch.path("movie.mp4");
    const Outcome run = runStarloom(
        {"video", "-", "-o", movie, "--seconds", "0.1", "--fps", "30", "--size", "640x480"},
        "void fx() {\n    cls(float4(1));\n}\n");
    ASSERT_EQ(run.status, 0) << run.err;
    const auto video = readVideo(movie);
    ASSERT_TRUE(video) << video.error().message;
    ASSERT_EQ(video->frames.size(), 3U);
    const auto grey = [&](std::size_t x, std::size_t y) {
        return channelsOf(video->frames[2].pixels[y * 640 + x])[1];
    };
    // 640 x 360 in the middle.
    EXPECT_LT(grey(320, 55), 8);
    EXPECT_GT(grey(320, 64), 247);
    EXPECT_GT(grey(0, 240), 247);
    EXPECT_GT(grey(639, 415), 247);
    EXPECT_LT(grey(320, 425), 8);
    EXPECT_FALSE(readSound(movie));
}

TEST(Video, IsAsLongAsTheSongUnlessToldOtherwise) {
    const ScratchFolder scratch;
    const std::string movie = scratch.path("movie.mp4");
    const Outcome run =
        runStarloom({"video", "-", "-o", movie, "--fps", "8", "--size", "64x64"}, program);
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(readVideo(movie)->frames.size(), 4U);
    EXPECT_EQ(readSound(movie)->duration, 24'000);
}

// A frame that saw the sample before its own would miss the beat by a frame.
TEST(Video, EveryFrameSeesTheSampleThatSoundsWithIt) {
    const ScratchFolder scratch;
    const std::string movie = scratch.path("movie.mp4");
    const char* onTheGrid = "void fx() {\n    cls(float4(sample % 800 == 0 ? 1 : 0));\n}\n"
                            "float2 sfx() {\n    return 0.1;\n}\n";
    const Outcome run =
        runStarloom({"video", "-", "-o", movie, "--seconds", "1.5", "--size", "64x64"}, onTheGrid);
    ASSERT_EQ(run.status, 0) << run.err;
    const auto video = readVideo(movie);
    ASSERT_EQ(video->frames.size(), 90U);
    for (std::size_t frame = 0; frame < 90; ++frame)
        EXPECT_GT(channelsOf(video->frames[frame].pixels[32 * 64 + 32])[0], 200) << frame;
}

TEST(Video, LeavesNothingBehindWhenItIsInterrupted) {
    const ScratchFolder scratch;
    const std::string movie = scratch.file("movie.mp4", "the old one");
    const Outcome run =
        runStarloom({"video", "-", "-o", movie, "--seconds", "3600"}, program, [&](auto& starloom) {
            // Until it has begun to write.
            for (int wait = 0; wait < 600 && scratch.names().size() < 2; ++wait)
                std::this_thread::sleep_for(std::chrono::milliseconds(50));
            starloom.signal(SIGINT);
        });
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.err, "starloom: cancelled\n");
    EXPECT_EQ(scratch.names(), std::vector<std::string>{"movie.mp4"});
    EXPECT_EQ(contentsOf(movie), "the old one");
}

TEST(Video, SaysInOneLineWhatItCannotDo) {
    const ScratchFolder scratch;
    const auto errorOf = [&](const std::string& name, std::vector<std::string> more) {
        std::vector<std::string> arguments{"video", "-", "-o", scratch.path(name)};
        arguments.insert(arguments.end(), more.begin(), more.end());
        const Outcome run = runStarloom(arguments, program);
        EXPECT_EQ(run.status, 1);
        EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
        return run.err;
    };
    EXPECT_NE(errorOf("movie.avi", {}).find("videos are written as .mp4"), std::string::npos);
    for (const char* size : {"641x480", "640", "640x", "0x0", "640x480x2", "99999x64"})
        EXPECT_NE(errorOf("movie.mp4", {"--size", size}).find("sizes are written as 1920x1080"),
                  std::string::npos);
    EXPECT_NE(errorOf("none/movie.mp4", {}).find("No such file or directory"), std::string::npos);
    EXPECT_TRUE(scratch.names().empty());
}

} // namespace
} // namespace cli::tests
