// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What a service says on standard error, and what arrives on the console's.
#include "gpu/host/ServiceMessages.h"
#include "tests/compute/service/Console.h"

#include <chrono>
#include <cstdio>
#include <fcntl.h>
#include <sys/resource.h>
#include <thread>
#include <unistd.h>

using gpu::host::CleanLines;
using namespace std::chrono_literals;

namespace test {
namespace {

using Lines = std::vector<std::string>;

TEST(CleanLinesTests, NothingIsLeftThatATerminalObeys) {
    CleanLines lines;
    const auto now = CleanLines::Clock::now();
    std::string all;
    for (int byte = 0; byte < 256; ++byte)
        if (byte != '\n')
            all += static_cast<char>(byte);
    const auto made = lines.add(all + "\nbe", now);
    ASSERT_EQ(made.size(), 1u);
    EXPECT_EQ(made[0].size(), 255u);
    for (const char byte : made[0])
        EXPECT_TRUE(byte >= 0x20 && byte <= 0x7E) << static_cast<int>(byte);
    EXPECT_EQ(lines.add("gun\n\nnext", now), (Lines{"begun", ""}));
    EXPECT_EQ(lines.end(), "next");
    EXPECT_EQ(lines.end(), "");
}

TEST(CleanLinesTests, LongLinesAndManyLinesAreCut) {
    CleanLines lines;
    auto now = CleanLines::Clock::now();
    Lines made;
    for (int i = 0; i < 100; ++i)
        made = lines.add(std::string(100'000, 'x'), now);
    EXPECT_TRUE(made.empty());
    EXPECT_EQ(lines.add("\n", now), Lines{std::string(CleanLines::maxLength, 'x') + "..."});

    std::size_t count = 0;
    for (int i = 0; i < 1000; ++i)
        count += lines.add("a\nb\nc\n", now).size();
    EXPECT_LE(count, static_cast<std::size_t>(CleanLines::maxLines) + 1);
    EXPECT_FALSE(lines.isListening(now));
    now += 1s;
    EXPECT_TRUE(lines.add("a\n", now).empty());
    now += 10s;
    EXPECT_EQ(lines.add("a\n", now), Lines{"a"});
}

std::size_t occurrences(const std::string& text, const std::string& part) {
    std::size_t count = 0;
    for (auto at = text.find(part); at != text.npos; at = text.find(part, at + 1))
        ++count;
    return count;
}

std::chrono::microseconds processorTime() {
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    return std::chrono::seconds(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
           std::chrono::microseconds(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec);
}

class Messages : public Console {};

TEST_F(Messages, ArriveCleanAndFewAndHoldUpNobody) {
    const auto tooMuch = pipeline("say-too-much");
    ::testing::internal::CaptureStderr();
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(run({tooMuch})->status(), gpu::CommandBufferStatus::Completed);
    device.reset();
    const std::string said = ::testing::internal::GetCapturedStderr();
    EXPECT_EQ(said.find_first_of("\x1b\x07\x9b\r"), said.npos);
    EXPECT_GE(occurrences(said, "compute: ?]0;owned? kernel ?1m ??2J?\n"), 10u);
    EXPECT_LE(occurrences(said, "\n"), 300u);
}

/// Puts something else in place of standard error for as long as it lives.
class OtherStandardError {
public:
    explicit OtherStandardError(int descriptor) : m_before(::dup(STDERR_FILENO)) {
        ::dup2(descriptor, STDERR_FILENO);
    }
    ~OtherStandardError() {
        ::dup2(m_before, STDERR_FILENO);
        ::close(m_before);
    }

private:
    int m_before;
};

TEST_F(Messages, NobodyReadsThemAndTheFramesGoOn) {
    int ends[2] = {-1, -1};
    ASSERT_EQ(::pipe2(ends, O_CLOEXEC), 0);
    const OtherStandardError full(ends[1]);
    const auto tooMuch = pipeline("say-too-much");
    for (int i = 0; i < 20; ++i)
        ASSERT_EQ(run({tooMuch, pipeline("count")})->status(), gpu::CommandBufferStatus::Completed);
    ::close(ends[0]);
    ASSERT_EQ(run({tooMuch})->status(), gpu::CommandBufferStatus::Completed);
    ::close(ends[1]);
}

TEST_F(Messages, AServiceThatHasNothingMoreToSayCostsNoTime) {
    EXPECT_EQ(run({pipeline("say-nothing")})->status(), gpu::CommandBufferStatus::Completed);
    const auto before = processorTime();
    std::this_thread::sleep_for(400ms);
    EXPECT_LT(processorTime() - before, 200ms);
}

} // namespace
} // namespace test
