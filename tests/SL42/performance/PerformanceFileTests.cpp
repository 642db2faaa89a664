// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Performances in files: whole ones, ones that were cut off, and damaged ones.
#include "SL42/performance/PerformanceReader.h"
#include "SL42/performance/PerformanceRecorder.h"

#include "tests/ScratchFolder.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <fstream>

namespace starloom {
namespace {

constexpr std::size_t frameCount = 12;

PerformanceFrame frameNumbered(std::size_t number) {
    PerformanceFrame frame{.clock = 100 + static_cast<double>(number) / 4};
    frame.state.time = static_cast<float>(number);
    frame.state.sample = static_cast<std::uint32_t>(number * 12'000);
    frame.state.keyboard.state['a'] = number % 3 == 1;
    frame.state.keyboard.pressed[127] = number % 3 == 1;
    frame.state.mouse.location = {static_cast<float>(number / 2), 7};
    frame.state.mouse.rightMouseClick = number > 0;
    frame.state.spectrum.raw[255] = number > 5 ? std::nanf("") : 0.5F;
    frame.state.spectrum.integrated[3] = static_cast<float>(number / 5);
    if (number % 5 == 0)
        frame.program = "void fx() {} // " + std::to_string(number);
    frame.isReset = number == 7;
    frame.songPlays = number > 2;
    return frame;
}

class PerformanceFile : public testing::Test {
protected:
    void record() {
        auto recorder = PerformanceRecorder::start(path, "show");
        ASSERT_TRUE(recorder) << recorder.error().message;
        for (std::size_t number = 0; number < frameCount; ++number)
            (*recorder)->note(frameNumbered(number));
        EXPECT_EQ((*recorder)->duration(), 2.75);
        EXPECT_TRUE((*recorder)->stop());
    }

    void expectFrame(const PerformanceFrame& frame, std::size_t number) {
        SCOPED_TRACE(number);
        const PerformanceFrame expected = frameNumbered(number);
        EXPECT_EQ(frame.clock, expected.clock - 100);
        EXPECT_EQ(frame.program, expected.program);
        EXPECT_EQ(frame.isReset, expected.isReset);
        EXPECT_EQ(frame.songPlays, expected.songPlays);
        EXPECT_EQ(frame.state.time, expected.state.time);
        EXPECT_EQ(frame.state.sample, expected.state.sample);
        EXPECT_EQ(frame.state.keyboard.state, expected.state.keyboard.state);
        EXPECT_EQ(frame.state.keyboard.pressed, expected.state.keyboard.pressed);
        EXPECT_EQ(frame.state.mouse.location, expected.state.mouse.location);
        EXPECT_EQ(frame.state.mouse.rightMouseClick, expected.state.mouse.rightMouseClick);
        EXPECT_EQ(std::memcmp(&frame.state.spectrum, &expected.state.spectrum, sizeof(FFTValues)),
                  0);
    }

    /// Reads all of the file; each frame is the one that was noted. The line about the damage, and
    /// how many frames there were.
    std::pair<std::string, std::size_t> read() {
        auto reader = PerformanceReader::open(path);
        if (!reader)
            return {reader.error().message, 0};
        std::size_t count = 0;
        while (const auto frame = reader->next())
            expectFrame(*frame, count++);
        return {reader->damage().value_or(""), count};
    }

    tests::ScratchFolder scratch;
    std::string path = scratch.path("show.perf");
};

TEST_F(PerformanceFile, ComesBackAsItWasNoted) {
    record();
    EXPECT_EQ(read(), std::pair(std::string(), frameCount));
    EXPECT_EQ(PerformanceReader::open(path)->title(), "show");

    const auto again = PerformanceRecorder::start(path, "another");
    ASSERT_FALSE(again) << "a performance is never written over";
    EXPECT_EQ(again.error().message, "cannot write " + path + ": File exists");
    EXPECT_EQ(read().second, frameCount);
}

TEST_F(PerformanceFile, IsGoodUpToWhereItWasCutOff) {
    record();
    const std::string whole = tests::contentsOf(path);
    std::size_t mostFrames = 0;
    for (std::size_t length = 0; length < whole.size(); length += length > 300 ? 331 : 1) {
        std::ofstream(path, std::ios::binary | std::ios::trunc) << whole.substr(0, length);
        const auto [message, count] = read();
        ASSERT_FALSE(message.empty()) << length;
        ASSERT_GE(count, mostFrames) << length;
        mostFrames = count;
    }
    EXPECT_GE(mostFrames, frameCount - 2);
    std::ofstream(path, std::ios::binary | std::ios::trunc) << whole.substr(0, whole.size() - 20);
    EXPECT_EQ(read().first,
              path + ": The performance is cut off after 2.50 s; what comes later is left out");
}

TEST_F(PerformanceFile, IsGoodUpToTheDamage) {
    record();
    const std::string whole = tests::contentsOf(path);
    for (std::size_t at = 0; at < whole.size(); at += at > 300 ? 331 : 1) {
        std::string damaged = whole;
        damaged[at] = static_cast<char>(damaged[at] ^ 0x40);
        std::ofstream(path, std::ios::binary | std::ios::trunc) << damaged;
        const auto [message, count] = read();
        ASSERT_FALSE(message.empty()) << at;
        ASSERT_LE(count, frameCount) << at;
    }
}

// Whole records, but such as no recorder writes.
TEST_F(PerformanceFile, RefusesNonsense) {
    using namespace performance;
    const std::string title = std::string(heading) + encodeRecord(RecordKind::Title, "show");
    const std::string program = encodeRecord(RecordKind::Program, "void fx() {}");
    const auto frame = [](double clock) {
        return encodeRecord(RecordKind::Frame, encodeFrame({.clock = clock}, {}));
    };
    std::string unknownKind = encodeRecord(static_cast<RecordKind>(9), "");
    std::string longFrame = encodeRecord(RecordKind::Frame, encodeFrame({}, {}) + "x");
    const std::pair<std::string, std::size_t> cases[] = {
        {title + frame(0), 0},
        {title + program + frame(1e9), 0},
        {title + program + frame(std::nan("")), 0},
        {title + program + frame(-1), 0},
        {title + program + frame(2) + frame(1), 1},
        {title + program + frame(0) + unknownKind, 1},
        {title + program + longFrame, 0},
        {title + program + frame(0) + encodeRecord(RecordKind::Title, "again"), 1},
        {title + "\x03\xff\xff\xff\xff", 0},
    };
    for (const auto& [bytes, count] : cases) {
        std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
        auto reader = PerformanceReader::open(path);
        ASSERT_TRUE(reader);
        std::size_t frames = 0;
        while (reader->next())
            ++frames;
        EXPECT_EQ(frames, count);
        EXPECT_TRUE(reader->damage());
    }
    std::ofstream(path, std::ios::trunc) << "void fx() {}";
    EXPECT_EQ(PerformanceReader::open(path).error().message, path + ": This is no performance");
    EXPECT_EQ(PerformanceReader::open(scratch.path("none")).error().message,
              scratch.path("none") + ": No such file or directory");
}

TEST_F(PerformanceFile, IsOnTheDiskBeforeItIsStopped) {
    auto recorder = PerformanceRecorder::start(path, "show");
    ASSERT_TRUE(recorder);
    for (std::size_t number = 0; number < frameCount; ++number)
        (*recorder)->note(frameNumbered(number));
    std::pair<std::string, std::size_t> seen;
    for (int wait = 0; wait < 500 && seen.second < frameCount; ++wait) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        seen = read();
    }
    EXPECT_EQ(seen.second, frameCount);
    EXPECT_FALSE((*recorder)->error());
}

} // namespace
} // namespace starloom
