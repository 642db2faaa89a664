// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// `starloom song`, and the songs of the examples against what somebody has heard and found good.
#include "tests/cli/RunStarloom.h"
#include "tests/platform/media/MediaReader.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <fstream>
#include <span>

namespace cli::tests {
namespace {

using platform::tests::readSound;
using Samples = std::span<const float>;

constexpr const char* tone = "int4 music = {240, 2, 3, 1};\n"
                             "float2 sfx() {\n"
                             "    float wave = sin(2 * pi * fract(500 * time));\n"
                             "    return float2(0.5 * wave, 0.25);\n"
                             "}\n";

double mean(Samples samples) {
    double sum = 0;
    for (const float sample : samples)
        sum += sample;
    return sum / static_cast<double>(samples.size());
}

TEST(Song, IsWrittenWholeInBothFormats) {
    const ScratchFolder scratch;
    for (const char* name : {"song.wav", "song.m4a"}) {
        SCOPED_TRACE(name);
        const Outcome run = runStarloom({"song", "-", "-o", scratch.path(name)}, tone);
        ASSERT_EQ(run.status, 0) << run.err;
        EXPECT_EQ(run.err, "");
        EXPECT_TRUE(run.out.starts_with("peak -6.0 dBFS, loudness -")) << run.out;
        const auto sound = readSound(scratch.path(name));
        ASSERT_TRUE(sound) << sound.error().message;
        EXPECT_EQ(sound->duration, 72'000); // six beats of a quarter of a second
        ASSERT_EQ(sound->channels[0].size(), 72'000U);
        EXPECT_NEAR(platform::tests::levelAt(500, sound->channels[0]), 0.5, 0.01);
        EXPECT_NEAR(mean(sound->channels[1]), 0.25, 0.01);
    }
    EXPECT_EQ(scratch.names(), (std::vector<std::string>{"song.m4a", "song.wav"}));
}

TEST(Song, WarnsOfClipping) {
    const ScratchFolder scratch;
    const Outcome run = runStarloom({"song", "-", "-o", scratch.path("song.wav")},
                                    "int4 music = {240, 2, 3, 1};\n"
                                    "float2 sfx() { return sample >= 24000 ? -2 : 0; }\n");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.err,
              "starloom: warning: the song clips: 48000 samples lie beyond full scale, the "
              "first after 0.500 s\n");
    EXPECT_TRUE(run.out.starts_with("peak 6.0 dBFS")) << run.out;
}

/// How loud a quarter of a second is, and how often it crosses zero, which tells low from high.
struct Moment {
    double loudness = 0;
    double crossings = 0;
};

std::vector<Moment> momentsOf(const std::array<std::vector<float>, 2>& channels) {
    constexpr std::size_t length = 12'000;
    std::vector<Moment> moments(channels[0].size() / length);
    for (const auto& channel : channels)
        for (std::size_t i = 1; i < moments.size() * length; ++i) {
            Moment& moment = moments[i / length];
            moment.loudness += double(channel[i]) * channel[i] / length;
            moment.crossings += (channel[i] > 0) != (channel[i - 1] > 0);
        }
    for (Moment& moment : moments)
        moment.loudness = std::sqrt(moment.loudness / 2);
    return moments;
}

// Each was listened to, and sounds as it did then. Noise differs between devices; how loud and how
// high it is does not.
TEST(ExampleSongs, SoundAsTheyDid) {
    for (const auto& entry : std::filesystem::directory_iterator(sourceFolder() / "examples")) {
        if (entry.path().extension() != ".metal" ||
            contentsOf(entry.path()).find("float2 sfx()") == std::string::npos)
            continue;
        SCOPED_TRACE(entry.path());
        const ScratchFolder scratch;
        const Outcome run = runStarloom({"song", entry.path(), "-o", scratch.path("song.wav")});
        ASSERT_EQ(run.status, 0) << run.err;
        const auto sound = readSound(scratch.path("song.wav"));
        ASSERT_TRUE(sound) << sound.error().message;
        for (const Samples channel : sound->channels) {
            for (const float sample : channel)
                ASSERT_LE(std::abs(sample), 1.0F); // false for what is not a number, too
            EXPECT_NEAR(mean(channel), 0, 0.005);
        }
        const auto moments = momentsOf(sound->channels);
        const auto golden = sourceFolder() / "tests/cli/golden" / entry.path().stem() += ".song";
        if (std::getenv("SL42_UPDATE_GOLDENS")) {
            std::ofstream file(golden);
            file << sound->duration << '\n';
            for (const auto& [loudness, crossings] : moments)
                file << loudness << ' ' << crossings << '\n';
            continue;
        }
        std::ifstream file(golden);
        std::int64_t duration = 0;
        EXPECT_TRUE(file >> duration) << "listen to it, then: ./test --update-goldens";
        EXPECT_EQ(sound->duration, duration);
        for (std::size_t i = 0; i < moments.size(); ++i) {
            Moment before;
            file >> before.loudness >> before.crossings;
            EXPECT_NEAR(moments[i].loudness, before.loudness, 0.002 + before.loudness / 20) << i;
            EXPECT_NEAR(moments[i].crossings, before.crossings, 10 + before.crossings / 30) << i;
        }
    }
}

} // namespace
} // namespace cli::tests
