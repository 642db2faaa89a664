// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Shows that are recorded are played back as they were: white in the picture is heard as a tone, at
// the same moment, whatever came late.
#include "SL42/recording/ShowRecorder.h"
#include "tests/ScratchFolder.h"
#include "tests/platform/media/MediaReader.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <condition_variable>
#include <map>
#include <mutex>

namespace starloom {
namespace {

constexpr std::int64_t samplesPerFrame = 800;
/// A beat of the show: it is white and loud for its first tenth.
constexpr std::int64_t beat = 24000;

bool isLoud(std::int64_t time) {
    return time % beat < beat / 10;
}

class Show {
public:
    Show() { sound->setOpen(true); }

    void start() {
        recorder = std::make_unique<ShowRecorder>(
            sound, now,
            ShowRecorder::Client{[this](const auto& path, const auto& result) {
                                     const std::lock_guard lock(m_mutex);
                                     m_finished[path] = result ? "" : result.error().message;
                                     m_changed.notify_all();
                                 },
                                 ShowRecorder::Share::Equal});
        pictures = recorder->pictures();
    }
    /// Frames that are drawn, each of which comes out of the device two frames later.
    void play(int frames) {
        for (int i = 0; i < frames; ++i) {
            playSound();
            now += samplesPerFrame;
            const std::int64_t drawn = now - 2 * samplesPerFrame;
            const std::vector<std::uint32_t> picture(std::size_t{ShowRecorder::width} *
                                                         ShowRecorder::height,
                                                     isLoud(drawn) ? 0xffffffffU : 0xff000000U);
            pictures(picture, drawn);
            recorder->advance(now);
            const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(5);
            while (recorder->recordedUntil() < now - 4 * samplesPerFrame) {
                ASSERT_LT(std::chrono::steady_clock::now(), end) << "frame " << i;
                std::this_thread::sleep_for(std::chrono::microseconds(200));
            }
        }
    }
    /// Somebody else needs the whole machine: no picture arrives, and the recorder does not run.
    void stall(int frames) {
        for (int i = 0; i < frames; ++i) {
            playSound();
            now += samplesPerFrame;
        }
        recorder->advance(now);
    }
    /// The error, empty after success.
    std::string waitFor(const std::string& path) {
        std::unique_lock lock(m_mutex);
        if (!m_changed.wait_for(lock, std::chrono::seconds(60),
                                [&] { return m_finished.contains(path); }))
            return "never finished";
        return m_finished[path];
    }

    const std::shared_ptr<platform::SoundTap> sound = std::make_shared<platform::SoundTap>();
    std::int64_t now = 12345 * samplesPerFrame;
    std::function<void(std::span<const std::uint32_t>, std::int64_t)> pictures;
    std::unique_ptr<ShowRecorder> recorder;

private:
    void playSound() {
        std::vector<float> block(2 * samplesPerFrame);
        for (std::int64_t i = 0; i < samplesPerFrame; ++i)
            block[std::size_t(2 * i)] = block[std::size_t(2 * i + 1)] =
                isLoud(now + i) ? 0.5F * std::sin(0.3F * static_cast<float>(i)) : 0;
        sound->write(now, block);
    }

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::map<std::string, std::string> m_finished;
};

/// When each white part begins, in seconds.
std::vector<double> flashes(const platform::tests::DecodedVideo& video) {
    std::vector<double> times;
    bool wasWhite = true; // what is white from the start on has no beginning
    for (const auto& frame : video.frames) {
        const bool isWhite = (frame.pixels[frame.pixels.size() / 2] & 0xff) > 128;
        if (isWhite && !wasWhite)
            times.push_back(frame.time);
        wasWhite = isWhite;
    }
    return times;
}

std::vector<double> tones(const platform::tests::DecodedSound& sound) {
    std::vector<double> times;
    std::size_t quiet = 0;
    for (std::size_t i = 0; i < sound.channels[0].size(); ++i) {
        if (std::abs(sound.channels[0][i]) < 0.1F) {
            ++quiet;
            continue;
        }
        if (quiet > 240)
            times.push_back(static_cast<double>(i) / 48000);
        quiet = 0;
    }
    return times;
}

/// The largest distance between a flash and the nearest tone, in seconds.
double largestDistance(const std::vector<double>& flashes, const std::vector<double>& tones) {
    double largest = 0;
    for (const double flash : flashes) {
        double nearest = 1e9;
        for (const double tone : tones)
            nearest = std::min(nearest, std::abs(tone - flash));
        largest = std::max(largest, nearest);
    }
    return largest;
}

/// After which a recording has come to its end.
constexpr int lateFrames = 20;

constexpr double halfFrame = 0.5 / ShowRecorder::framesPerSecond;

class ShowRecorderTest : public testing::Test {
protected:
    void expectInStep(const std::string& path, std::size_t flashCount) {
        const auto video = platform::tests::readVideo(path);
        const auto heard = platform::tests::readSound(path);
        ASSERT_TRUE(video) << video.error().message;
        ASSERT_TRUE(heard) << heard.error().message;
        const double soundLength = static_cast<double>(heard->channels[0].size()) / 48000;
        EXPECT_GT(soundLength, video->duration - halfFrame) << "the end is missing";
        const auto seen = flashes(*video);
        EXPECT_GE(seen.size(), flashCount);
        // The grid of the frames, and 1 ms for what AAC does to the edge of a tone.
        EXPECT_LE(largestDistance(seen, tones(*heard)), halfFrame + 0.001);
    }

    const ::tests::ScratchFolder files;
    Show show;
};

} // namespace

TEST_F(ShowRecorderTest, PicturesAndSoundStayInStep) {
    show.start();
    show.play(70);
    const std::string path = files.path("a.mp4");
    show.recorder->startFile(path);
    show.play(200);
    show.recorder->finishFile();
    show.play(lateFrames);
    ASSERT_EQ(show.waitFor(path), "");
    expectInStep(path, 5);
    const auto video = platform::tests::readVideo(path);
    EXPECT_NEAR(video->duration, 200 / 60.0, 0.03);
    EXPECT_EQ(show.recorder->heldFrames(), 0U);

    const std::string second = files.path("b.mp4"); // ends with the recorder
    show.recorder->startFile(second);
    show.play(130);
    show.recorder.reset();
    ASSERT_EQ(show.waitFor(second), "");
    expectInStep(second, 3);
    show.pictures(std::vector<std::uint32_t>(std::size_t{960} * 540), show.now); // comes too late
}

TEST_F(ShowRecorderTest, TheLastSecondsAreKept) {
    show.start();
    const std::string none = files.path("none.mp4");
    show.recorder->saveLast(none);
    show.recorder.reset();
    EXPECT_NE(show.waitFor(none), "") << "there was nothing yet";
    show.start();
    show.recorder->keepLast(2);
    show.play(500);
    const std::string path = files.path("last.mp4");
    show.recorder->saveLast(path);
    show.play(lateFrames);
    ASSERT_EQ(show.waitFor(path), "");
    expectInStep(path, 3);
    const auto video = platform::tests::readVideo(path);
    EXPECT_GE(video->duration, 2);
    EXPECT_LE(video->duration, 4.3) << "no more than one interval between key frames too much";
    EXPECT_LT(show.recorder->keptBytes(), std::size_t{2} << 20);
    EXPECT_EQ(files.names(), std::vector<std::string>{"last.mp4"});
}

TEST_F(ShowRecorderTest, WhenItIsLateTheRecordingHoldsItsPicture) {
    show.start();
    const std::string path = files.path("a.mp4");
    show.recorder->startFile(path);
    show.play(60);
    show.stall(50);
    show.play(150);
    show.recorder->finishFile();
    show.play(lateFrames);
    ASSERT_EQ(show.waitFor(path), "");
    EXPECT_GT(show.recorder->heldFrames(), 10U);
    EXPECT_LT(show.recorder->heldFrames(), 50U);
    expectInStep(path, 4);
    EXPECT_NEAR(platform::tests::readVideo(path)->duration, 260 / 60.0, 0.03);
}

TEST_F(ShowRecorderTest, AFileThatCannotBeWrittenIsSaidAndEndsNothingElse) {
    show.start();
    const std::string nowhere = files.path("nowhere/a.mp4");
    show.recorder->startFile(nowhere);
    show.play(20);
    EXPECT_NE(show.waitFor(nowhere), "");
    const std::string path = files.path("a.mp4");
    show.recorder->startFile(path);
    show.play(70);
    show.recorder.reset();
    EXPECT_EQ(show.waitFor(path), "");
    EXPECT_EQ(files.names(), std::vector<std::string>{"a.mp4"});
}

} // namespace starloom
