// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// `starloom song`, and what the songs of the examples sound like, in numbers.
#include "tests/cli/RunStarloom.h"
#include "tests/platform/media/MediaReader.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <span>

namespace cli::tests {
namespace {

using platform::tests::readSound;
using Samples = std::span<const float>;

constexpr double sampleRate = 48000;

constexpr const char* tone = "int4 music = {240, 2, 3, 1};\n"
                             "float2 sfx() {\n"
                             "    float wave = sin(2 * pi * fract(500 * time));\n"
                             "    return float2(0.5 * wave, 0.25);\n"
                             "}\n";

double loudness(Samples samples) {
    double power = 0;
    for (const float sample : samples)
        power += double(sample) * sample;
    return std::sqrt(power / static_cast<double>(samples.size()));
}

double mean(Samples samples) {
    double sum = 0;
    for (const float sample : samples)
        sum += sample;
    return sum / static_cast<double>(samples.size());
}

/// Amplitude of a sine of that frequency; others count less the further away they are (Hann
/// window).
double amplitudeAt(double frequency, Samples samples) {
    double cosine = 0;
    double sine = 0;
    const auto count = static_cast<double>(samples.size());
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const double turns = static_cast<double>(i) / count;
        const double weighted = samples[i] * (1 - std::cos(2 * std::numbers::pi * turns));
        const double angle = 2 * std::numbers::pi * frequency * static_cast<double>(i) / sampleRate;
        cosine += weighted * std::cos(angle);
        sine += weighted * std::sin(angle);
    }
    return 2 * std::hypot(cosine, sine) / count;
}

TEST(Song, IsWrittenWholeInBothFormats) {
    const ScratchFolder scratch;
    for (const char* name : {"song.wav", "song.m4a"}) {
        SCOPED_TRACE(name);
        const Outcome run = runStarloom({"song", "-", "-o", scratch.path(name)}, tone);
        ASSERT_EQ(run.status, 0) << run.err;
        EXPECT_EQ(run.out + run.err, "");
        const auto sound = readSound(scratch.path(name));
        ASSERT_TRUE(sound) << sound.error().message;
        EXPECT_EQ(sound->duration, 72'000); // six beats of a quarter of a second
        ASSERT_EQ(sound->channels[0].size(), 72'000U);
        EXPECT_NEAR(amplitudeAt(500, sound->channels[0]), 0.5, 0.01);
        EXPECT_NEAR(mean(sound->channels[1]), 0.25, 0.01);
    }
    EXPECT_EQ(scratch.names(), (std::vector<std::string>{"song.m4a", "song.wav"}));
}

TEST(Song, SaysInOneLineWhyThereIsNone) {
    struct Case {
        const char* program;
        const char* name;
        const char* message;
    };
    const Case cases[] = {
        {tone, "song.mp3", "songs are written as .m4a or .wav"},
        {tone, "none/song.wav", "No such file or directory"},
        {"void fx() {\n}\n", "song.wav", "standard input has no sfx() and so no song"},
        {"float2 sfx() {\n    return nonsense;\n}\n", "song.wav", "'nonsense'"},
    };
    const ScratchFolder scratch;
    for (const Case& row : cases) {
        SCOPED_TRACE(row.message);
        const Outcome run = runStarloom({"song", "-", "-o", scratch.path(row.name)}, row.program);
        EXPECT_EQ(run.status, 1);
        EXPECT_NE(run.err.find(row.message), std::string::npos) << run.err;
        EXPECT_TRUE(scratch.names().empty());
    }
}

/// What to expect of an example's song.
struct Listening {
    const char* name;
    double seconds;
    double quietest, loudest; ///< root of the mean square, both channels
    /// The first bar in steps: x begins to sound, - does not, . may or may not.
    const char* steps;
    double barLength; ///< seconds
    /// For each bar the keys of its chord, of which 69 is 440 Hz.
    std::vector<std::vector<int>> chords;
};

const Listening listenings[] = {
    {"drums", 8.135, 0.1, 0.3, "x-x-xxx-x-x.x-x-", 60 * 4.0 / 118, {}},
    {"bass", 7.869, 0.1, 0.3, "x...x...x...x...", 60 * 4.0 / 122, {}},
    {"pad",
     16,
     0.08,
     0.25,
     "................",
     4,
     {{41, 57, 60, 64, 67}, {45, 57, 60, 64, 67}, {38, 57, 60, 64, 65}, {46, 57, 62, 65, 69}}},
    {"pulse", 15.484, 0.05, 0.3, "x...x...x...x...", 60 * 4.0 / 124, {}},
    {"shapes", 10, 0.03, 0.2, "x-x-x-x-x-x-x-x-", 2.5, {}},
    {"synth",
     9.6,
     0.05,
     0.25,
     "................",
     2.4,
     {{57, 64, 69, 72}, {53, 60, 65, 69}, {60, 67, 72, 76}, {55, 62, 67, 71}}},
};

class ExampleSong : public testing::TestWithParam<Listening> {};

/// How much louder it is just after a moment than just before; the song is a loop.
double rise(Samples samples, double seconds) {
    constexpr std::size_t length = 960; // 20 ms
    const auto at = static_cast<std::size_t>(std::llround(seconds * sampleRate));
    const Samples before = samples.subspan(at == 0 ? samples.size() - length : at - length, length);
    return loudness(samples.subspan(at, length)) / (loudness(before) + 1e-6);
}

void expectChord(Samples bar, const std::vector<int>& chord) {
    // The second quarter: the chord before has faded away.
    const Samples heard = bar.subspan(bar.size() / 4, bar.size() / 2);
    const auto amplitude = [&](int key) {
        return amplitudeAt(440 * std::exp2((key - 69) / 12.0), heard);
    };
    double weakest = 1;
    for (const int key : chord)
        weakest = std::min(weakest, amplitude(key));
    for (int key = 52; key <= 76; ++key) {
        const bool belongs = std::any_of(chord.begin(), chord.end(),
                                         [&](int note) { return note % 12 == key % 12; });
        if (!belongs)
            EXPECT_LT(amplitude(key), weakest / 3) << key;
    }
}

TEST_P(ExampleSong, SoundsAsItShould) {
    const Listening& expected = GetParam();
    const ScratchFolder scratch;
    const std::string program =
        sourceFolder() / "examples" / (std::string(expected.name) + ".metal");
    const Outcome run = runStarloom({"song", program, "-o", scratch.path("song.wav")});
    ASSERT_EQ(run.status, 0) << run.err;
    const auto sound = readSound(scratch.path("song.wav"));
    ASSERT_TRUE(sound) << sound.error().message;
    EXPECT_NEAR(static_cast<double>(sound->duration) / sampleRate, expected.seconds, 0.001);

    std::vector<float> middle(sound->channels[0].size());
    for (std::size_t i = 0; i < middle.size(); ++i)
        middle[i] = (sound->channels[0][i] + sound->channels[1][i]) / 2;
    for (const Samples channel : sound->channels) {
        for (const float sample : channel)
            ASSERT_LE(std::abs(sample), 1.0F); // false for what is not a number, too
        EXPECT_GT(loudness(channel), expected.quietest);
        EXPECT_LT(loudness(channel), expected.loudest);
        EXPECT_NEAR(mean(channel), 0, 0.005);
    }
    const std::string_view steps = expected.steps;
    for (std::size_t step = 0; step < steps.size(); ++step) {
        const double when = expected.barLength * static_cast<double>(step) / 16;
        if (steps[step] == 'x')
            EXPECT_GT(rise(middle, when), 1.15) << step;
        if (steps[step] == '-')
            EXPECT_LT(rise(middle, when), 1.05) << step;
    }
    const auto barLength = static_cast<std::size_t>(expected.barLength * sampleRate);
    for (std::size_t bar = 0; bar < expected.chords.size(); ++bar) {
        SCOPED_TRACE(bar);
        expectChord(Samples(middle).subspan(bar * barLength, barLength), expected.chords[bar]);
    }
}

INSTANTIATE_TEST_SUITE_P(Examples, ExampleSong, testing::ValuesIn(listenings),
                         [](const auto& row) { return row.param.name; });

// A song that nobody has listened to must not slip in.
TEST(ExampleSongs, AreAllListenedTo) {
    for (const auto& entry : std::filesystem::directory_iterator(sourceFolder() / "examples")) {
        const std::string text =
            entry.path().extension() == ".metal" ? contentsOf(entry.path()) : "";
        if (text.find("float2 sfx()") == std::string::npos)
            continue;
        EXPECT_TRUE(std::any_of(std::begin(listenings), std::end(listenings), [&](const auto& row) {
            return row.name == entry.path().stem();
        })) << entry.path();
    }
}

} // namespace
} // namespace cli::tests
