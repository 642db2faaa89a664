// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Sound and movie files, by what a player makes of them.
#include "platform/image/DisplayColours.h"
#include "platform/image/Image.h"
#include "platform/media/AudioFileWriter.h"
#include "platform/media/Loudness.h"
#include "platform/media/MovieWriter.h"
#include "platform/media/SoundFile.h"
#include "tests/ScratchFolder.h"
#include "tests/platform/media/MediaReader.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <cmath>
#include <csignal>
#include <filesystem>
#include <limits>
#include <numbers>
#include <random>

namespace platform::tests {
namespace {

using Samples = std::vector<float>;

class MediaFileTest : public testing::Test {
protected:
    std::string path(const std::string& name) const { return scratch.path(name); }

    ::tests::ScratchFolder scratch;
};

Samples sine(double frequency, double level, std::size_t count) {
    Samples samples(count);
    for (std::size_t i = 0; i < count; ++i)
        samples[i] = static_cast<float>(
            level * std::sin(2 * std::numbers::pi * frequency * static_cast<double>(i) / 48000));
    return samples;
}

/// The first sample that is loud, which shows how far the sound has moved.
std::ptrdiff_t onset(const Samples& samples) {
    return std::find_if(samples.begin(), samples.end(),
                        [](float s) { return std::abs(s) > 0.3F; }) -
           samples.begin();
}

Result<void> writeSound(const std::string& path, AudioFileFormat format, const Samples& left,
                        const Samples& right, std::size_t blockLength) {
    AudioFileWriter writer = SL42_TRY(AudioFileWriter::create(path, format));
    for (std::size_t at = 0; at < left.size(); at += blockLength) {
        const std::size_t count = std::min(blockLength, left.size() - at);
        SL42_TRY_VOID(
            writer.write(std::span(left).subspan(at, count), std::span(right).subspan(at, count)));
    }
    return writer.finish();
}

TEST_F(MediaFileTest, AacHasLengthPlaceLevelAndSpectrum) {
    // A whole number of the encoder's blocks, one sample beside it, shorter than one, and a song.
    for (const std::size_t length : {10240U, 10241U, 700U, 192'000U}) {
        SCOPED_TRACE(length);
        Samples left = sine(440, 0.5, length);
        Samples right = sine(3000, 0.25, length);
        const auto written = writeSound(path("a.m4a"), AudioFileFormat::AAC, left, right, 777);
        ASSERT_TRUE(written) << written.error().message;
        const auto sound = readSound(path("a.m4a"));
        ASSERT_TRUE(sound) << sound.error().message;
        EXPECT_EQ(sound->codec, "aac");
        EXPECT_EQ(sound->sampleRate, 48000);
        EXPECT_EQ(sound->channelCount, 2);
        EXPECT_EQ(sound->duration, static_cast<std::int64_t>(length));
        EXPECT_EQ(sound->channels[0].size(), length);
        if (length < 10'000)
            continue;
        EXPECT_NEAR(levelAt(440, sound->channels[0]), 0.5, 0.02);
        EXPECT_NEAR(levelAt(3000, sound->channels[1]), 0.25, 0.02);
        EXPECT_LT(levelAt(3000, sound->channels[0]), 0.005);
        EXPECT_LT(levelAt(440, sound->channels[1]), 0.005);
        // The priming is cut off: the phase is that of the original to a few samples.
        EXPECT_NEAR(static_cast<double>(onset(sound->channels[0])),
                    static_cast<double>(onset(left)), 3);
    }
    EXPECT_EQ(scratch.names().size(), 1U);
}

// Noise, for which there are never enough bits: what is left out would be the treble.
TEST_F(MediaFileTest, AacKeepsTheTreble) {
    Samples noise(96'000);
    std::minstd_rand random(5);
    for (float& sample : noise)
        sample = static_cast<float>(random() % 2001) / 4000 - 0.25F;
    const auto written = writeSound(path("a.m4a"), AudioFileFormat::AAC, noise, noise, 48'000);
    ASSERT_TRUE(written) << written.error().message;
    const auto sound = readSound(path("a.m4a"));
    ASSERT_TRUE(sound) << sound.error().message;
    EXPECT_LT(sound->bitRate, 340'000);
    // The difference from one sample to the next is nearly all treble.
    const auto treble = [](std::span<const float> samples) {
        double energy = 0;
        for (std::size_t i = 1; i < samples.size(); ++i)
            energy += std::pow(double{samples[i]} - samples[i - 1], 2);
        return energy;
    };
    EXPECT_NEAR(treble(sound->channels[0]) / treble(noise), 1, 0.1);
}

TEST_F(MediaFileTest, WavHoldsEveryBit) {
    Samples left = sine(440, 5, 10'001);
    Samples right(left.size(), -0.125F);
    right[7] = std::numeric_limits<float>::infinity();
    right[8] = 1e-42F;
    const auto written = writeSound(path("a.wav"), AudioFileFormat::WAV, left, right, 10'001);
    ASSERT_TRUE(written) << written.error().message;
    const auto sound = readSound(path("a.wav"));
    ASSERT_TRUE(sound) << sound.error().message;
    EXPECT_EQ(sound->codec, "pcm_f32le");
    EXPECT_EQ(sound->channels[0], left);
    EXPECT_EQ(sound->channels[1], right);
}

TEST_F(MediaFileTest, AacSurvivesWhatItCannotCode) {
    Samples wild = sine(440, 0.5, 48'000);
    wild[100] = std::numeric_limits<float>::quiet_NaN();
    wild[200] = std::numeric_limits<float>::infinity();
    wild[300] = -1e30F;
    const auto written = writeSound(path("a.m4a"), AudioFileFormat::AAC, wild, wild, 48'000);
    ASSERT_TRUE(written) << written.error().message;
    const Samples after = readSound(path("a.m4a"))->channels[0];
    EXPECT_NEAR(levelAt(440, std::span(after).subspan(24'000)), 0.5, 0.02);
}

TEST_F(MediaFileTest, SaysInOneLineWhereItCannotWrite) {
    const auto device = MovieWriter::create("/dev/null", {});
    ASSERT_FALSE(device);
    EXPECT_EQ(device.error().message, "cannot write /dev/null: Not a regular file");
    EXPECT_TRUE(std::filesystem::is_character_file("/dev/null"));
}

// The disk is full: the error comes back, and the old file stays.
TEST_F(MediaFileTest, KeepsTheOldFileWhenWritingFails) {
    const Samples old = sine(440, 0.5, 3000);
    ASSERT_TRUE(writeSound(path("a.wav"), AudioFileFormat::WAV, old, old, 3000));
    rlimit before{};
    ::getrlimit(RLIMIT_FSIZE, &before);
    const rlimit small{.rlim_cur = 100'000, .rlim_max = before.rlim_max};
    const auto oldHandler = std::signal(SIGXFSZ, SIG_IGN);
    ::setrlimit(RLIMIT_FSIZE, &small);
    const Samples large = sine(220, 0.5, 480'000);
    const auto written = writeSound(path("a.wav"), AudioFileFormat::WAV, large, large, 1000);
    ::setrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, oldHandler);
    ASSERT_FALSE(written);
    EXPECT_EQ(written.error().message, "cannot write " + path("a.wav") + ": File too large");
    EXPECT_EQ(readSound(path("a.wav"))->channels[0], old);
    EXPECT_EQ(scratch.names().size(), 1U);
}

/// A grey whose lightness counts the frames, with a block of each primary.
std::vector<std::uint32_t> countedPicture(const MovieFormat& format, std::uint32_t frame) {
    const std::uint32_t grey = 40 + 4 * frame;
    std::vector<std::uint32_t> pixels(std::size_t{format.width} * format.height,
                                      0xff000000U | grey << 16 | grey << 8 | grey);
    const std::uint32_t blocks[] = {0xffff0000U, 0xff00ff00U, 0xff0000ffU, 0xffffffffU};
    for (std::uint32_t y = 0; y < 16; ++y)
        for (std::uint32_t x = 0; x < 64; ++x)
            pixels[std::size_t{y} * format.width + x] = blocks[x / 16];
    return pixels;
}

int channelDistance(std::uint32_t a, std::uint32_t b) {
    int largest = 0;
    for (const int shift : {0, 8, 16})
        largest = std::max(largest, std::abs(static_cast<int>(a >> shift & 255) -
                                             static_cast<int>(b >> shift & 255)));
    return largest;
}

TEST_F(MediaFileTest, MoviesHaveEveryFrameAtItsTime) {
    // WebM counts milliseconds, and begins with what the encoder of Opus puts in front.
    constexpr double webMClock = 9e-3;
    struct Case {
        VideoCodec codec;
        const char* codecName;
        double framesPerSecond;
        bool hasSound;
        double clock = 1e-4; ///< to what the container rounds times
    };
    const Case cases[] = {{VideoCodec::H264, "h264", 60, true},
                          {VideoCodec::MPEG4, "mpeg4", 25, true},
                          {VideoCodec::H264, "h264", 30, false},
                          {VideoCodec::H264, "h264", 30000.0 / 1001, true},
                          {VideoCodec::MPEG4, "mpeg4", 23.976, false},
                          {VideoCodec::VP9, "vp9", 30, true, webMClock}};
    for (const auto& [codec, codecName, framesPerSecond, hasSound, clock] : cases) {
        SCOPED_TRACE(testing::Message() << codecName << " at " << framesPerSecond);
        constexpr std::uint32_t frameCount = 50;
        MovieFormat format{.width = 320, .height = 180};
        format.frameRate = FrameRate::nearest(framesPerSecond);
        format.hasSound = hasSound;
        format.codec = codec;
        const std::uint64_t sampleCount = format.frameRate.sampleOf(frameCount, 48000);
        const Samples tone = sine(1000, 0.5, sampleCount);
        {
            auto writer = MovieWriter::create(path("a.mp4"), format);
            ASSERT_TRUE(writer) << writer.error().message;
            std::size_t heard = 0;
            for (std::uint32_t frame = 0; frame < frameCount; ++frame) {
                ASSERT_TRUE(writer->writeFrame(countedPicture(format, frame)));
                const std::size_t until = format.frameRate.sampleOf(frame + 1, 48000);
                const auto block = std::span(tone).subspan(heard, until - heard);
                if (format.hasSound)
                    ASSERT_TRUE(writer->writeSound(block, block));
                heard = until;
            }
            const auto finished = writer->finish();
            ASSERT_TRUE(finished) << finished.error().message;
        }

        const auto video = readVideo(path("a.mp4"));
        ASSERT_TRUE(video) << video.error().message;
        EXPECT_EQ(video->codec, codecName);
        EXPECT_EQ(video->width, 320U);
        EXPECT_EQ(video->height, 180U);
        EXPECT_EQ(video->colours, "bt709/bt709/bt709/tv");
        EXPECT_NEAR(video->duration, format.frameRate.timeOf(frameCount), 2 * clock);
        ASSERT_EQ(video->frames.size(), frameCount);
        for (std::uint32_t frame = 0; frame < frameCount; ++frame) {
            SCOPED_TRACE(frame);
            const auto& decoded = video->frames[frame];
            EXPECT_NEAR(decoded.time, format.frameRate.timeOf(frame), clock);
            const auto drawn = countedPicture(format, frame);
            const std::size_t centre = std::size_t{100} * 320 + 160;
            EXPECT_LE(channelDistance(decoded.pixels[centre], drawn[centre]), 2);
            for (const std::size_t x : {8U, 24U, 40U, 56U}) {
                const std::size_t block = std::size_t{8} * 320 + x;
                EXPECT_LE(channelDistance(decoded.pixels[block], drawn[block]), 9);
            }
        }

        const auto sound = readSound(path("a.mp4"));
        ASSERT_EQ(sound.hasValue(), format.hasSound);
        if (sound) {
            const double rounded = clock == webMClock ? clock * 48000 : 0;
            const auto expected = static_cast<double>(sampleCount);
            EXPECT_NEAR(static_cast<double>(sound->duration), expected, rounded);
            EXPECT_NEAR(static_cast<double>(sound->channels[0].size()), expected, rounded);
            EXPECT_NEAR(levelAt(1000, sound->channels[0]), 0.5, 0.02);
        }
        EXPECT_EQ(scratch.names().size(), 1U);
    }
}

TEST_F(MediaFileTest, WritesPicturesOfWhichPixelsAreRepeated) {
    MovieFormat format{.width = 320, .height = 180};
    format.repeat = 2;
    Image picture(160, 90);
    for (std::uint32_t y = 0; y < picture.height(); ++y)
        for (std::uint32_t x = 0; x < picture.width(); ++x)
            picture.setPixel(x, y, {x < 80 ? 0.25F : 0.75F, 0.5F, y < 45 ? 0.25F : 0.75F, 1});
    auto writer = MovieWriter::create(path("a.mp4"), format);
    ASSERT_TRUE(writer) << writer.error().message;
    ASSERT_TRUE(writer->writePicture(picture.halves()));
    ASSERT_TRUE(writer->finish());
    std::vector<std::uint32_t> expected(std::size_t{160} * 90);
    convertToDisplay(picture.halves(), expected);
    const auto video = readVideo(path("a.mp4"));
    ASSERT_TRUE(video) << video.error().message;
    for (const auto& [x, y] : {std::pair(40, 20), std::pair(120, 20), std::pair(40, 70)})
        EXPECT_LE(
            channelDistance(video->frames.at(0).pixels[2 * y * 320 + 2 * x], expected[y * 160 + x]),
            4)
            << x << ", " << y;
}

TEST_F(MediaFileTest, GifsLoopAndHaveThePaletteOfEachFrame) {
    MovieFormat format{.width = 64, .height = 64};
    format.frameRate = FrameRate::nearest(25);
    format.codec = videoCodecFor(".gif").value();
    auto writer = MovieWriter::create(path("a.gif"), format);
    ASSERT_TRUE(writer) << writer.error().message;
    const std::uint32_t colours[] = {0xff102030U, 0xffe0a060U, 0xff30f040U};
    for (const std::uint32_t colour : colours)
        ASSERT_TRUE(writer->writeFrame(std::vector<std::uint32_t>(64 * 64, colour)));
    ASSERT_TRUE(writer->finish());
    const auto video = readVideo(path("a.gif"));
    ASSERT_TRUE(video) << video.error().message;
    ASSERT_EQ(video->frames.size(), 3U);
    for (std::size_t frame = 0; frame < 3; ++frame) {
        EXPECT_LE(channelDistance(video->frames[frame].pixels[2080], colours[frame]), 1) << frame;
        EXPECT_NEAR(video->frames[frame].time, 0.04 * static_cast<double>(frame), 1e-6);
    }
    EXPECT_NE(::tests::contentsOf(path("a.gif")).find(std::string("NETSCAPE2.0\x03\x01\0\0", 15)),
              std::string::npos)
        << "loops without end";
    EXPECT_FALSE(videoCodecFor(".avi"));
}

TEST_F(MediaFileTest, HearsFilesOfEveryKindInOneChannelAt48000) {
    const Samples left = sine(1000, 0.5, 48'000);
    const Samples right = sine(3000, 0.25, 48'000);
    for (const auto& [name, format] :
         {std::pair("a.wav", AudioFileFormat::WAV), std::pair("a.m4a", AudioFileFormat::AAC)}) {
        SCOPED_TRACE(name);
        ASSERT_TRUE(writeSound(path(name), format, left, right, 4800));
        const auto heard = readMonoSound(path(name), 1'000'000);
        ASSERT_TRUE(heard) << heard.error().message;
        EXPECT_NEAR(static_cast<double>(heard->size()), 48'000, 1024);
        EXPECT_NEAR(levelAt(1000, *heard), 0.25, 0.02);
        EXPECT_NEAR(levelAt(3000, *heard), 0.125, 0.02);
        EXPECT_EQ(readMonoSound(path(name), 100)->size(), 100U);
    }
    EXPECT_FALSE(readMonoSound(path("none.wav"), 100));
}

TEST(Loudness, IsThatOfTheStandardsTestTone) {
    // EBU Tech 3341: a stereo sine of 1000 Hz at -23 dBFS has -23 LUFS.
    const Samples tone = sine(1000, std::pow(10.0, -23.0 / 20), 480'000);
    const auto loudness = measureLoudness(tone, tone);
    ASSERT_TRUE(loudness);
    EXPECT_NEAR(loudness->integrated.value(), -23, 0.1);
    EXPECT_NEAR(loudness->peak.value(), -23, 0.1);
    EXPECT_EQ(loudness->clipped, 0U);

    Samples loud(96'000, 0.0F);
    EXPECT_FALSE(measureLoudness(loud, loud)->peak);
    loud[70'000] = -1.5F;
    loud[70'001] = std::nanf("");
    const auto clipped = measureLoudness(loud, tone);
    EXPECT_EQ(clipped->clipped, 2U);
    EXPECT_EQ(clipped->firstClipped, 70'000U);
}

} // namespace
} // namespace platform::tests
