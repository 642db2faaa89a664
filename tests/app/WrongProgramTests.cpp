// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Live coding is a row of wrong programs. Each is saved as an editor does, before a window's eyes:
// the picture never goes, the window always answers, and the next right program is there at once.
#include "tests/app/EventLoopProbe.h"
#include "tests/app/WindowFixture.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iostream>
#include <optional>
#include <thread>

namespace app::tests {
namespace {

/// Longer than any answer takes on a busy machine, and shorter than anything that would freeze a
/// window: what hangs is given two seconds, a song twenty, a compilation ten.
constexpr double longestGap = 1000;

class WrongProgramTest : public WindowFixture {
protected:
    void start() {
        WindowFixture::start(file, white);
        probe.emplace(desktop.display(), "stage.metal");
    }
    void save(const std::string& text) const { WindowFixture::save(file, text); }
    /// Waits until the window says what is wrong; the picture must not change meanwhile.
    void waitForBadge(Colour picture) {
        const auto end = Clock::now() + patience;
        while (!hasBadge() && Clock::now() < end) {
            const Colour now = desktop.picture();
            ASSERT_EQ(now, picture) << now.red << ' ' << now.green << ' ' << now.blue << '\n'
                                    << console->output();
        }
        EXPECT_TRUE(hasBadge()) << console->output();
    }
    void expectAnswers(const std::string& what) {
        const Latencies gaps = probe->take();
        std::cout << what << ": " << gaps << '\n';
        EXPECT_GT(gaps.count(), 0U) << what;
        EXPECT_LT(gaps.max(), longestGap) << what;
    }

    const std::string file = files.file("stage.metal", whiteProgram);
    std::optional<EventLoopProbe> probe;
};

struct Wrong {
    const char* what;
    const char* text;
    /// What the log says of it.
    const char* said;
};

const Wrong wrongPrograms[] = {
    {"a loop in fx()", "void fx() {\n cls(0);\n while (time >= 0)\n  registers[9]++;\n}\n",
     "line 3: still in this loop after 2 s; the last good program goes on"},
    {"a loop in cpu()",
     "void cpu() {\n for (int i = 0; i >= 0 || time >= 0; ++i)\n  poke32(i, 64);\n}\n",
     "line 2: still in this loop after 2 s"},
    {"a wild write", "void fx() {\n cls(0);\n memory[-2000000000 - int(coords.x)] = 1;\n}\n",
     "line 3: wrote outside of memory; the last good program goes on"},
    {"a loop in sfx()",
     "float2 sfx() {\n while (sample < 4000000000u)\n  registers[9]++;\n return 0;\n}\n",
     "line 2: still in this loop after 2 s"},
    {"an endless song", "int4 music = {0,4,8,1};\nvoid fx() { cls(0); }\n",
     "program_source:672:1: error: A beat of the song has no finite length"},
    {"no program", "void fx() { cls(nonsense); }\n", "nonsense"},
    {"a blank too many", "void fx () { cls(0); }\n", "if it is meant to be one, write exactly"},
};

} // namespace

TEST_F(WrongProgramTest, ThePictureStaysAndTheWindowAnswers) {
    start();
    bool isWhite = true;
    for (const Wrong& wrong : wrongPrograms) {
        SCOPED_TRACE(wrong.what);
        const Colour shown = isWhite ? white : grey;
        probe->take();
        save(wrong.text);
        waitForBadge(shown);
        if (HasFatalFailure())
            return;
        EXPECT_TRUE(
            eventually([&] { return console->output().find(wrong.said) != std::string::npos; },
                       std::chrono::seconds(5)))
            << console->output();
        std::this_thread::sleep_for(milliseconds(200));
        EXPECT_EQ(desktop.picture(), shown) << "frames go on with the last good program";

        isWhite = !isWhite;
        save(isWhite ? whiteProgram : greyProgram);
        EXPECT_TRUE(desktop.shows(isWhite ? white : grey)) << console->output();
        EXPECT_TRUE(eventually([&] { return !hasBadge(); }));
        expectAnswers(wrong.what);
    }
}

TEST_F(WrongProgramTest, TheFixShowsWhileTheBadKernelStillRuns) {
    start();
    Clock::duration quickest = patience;
    for (int round = 0; round < 4; ++round) {
        const bool isGrey = round % 2 == 0;
        save("void fx() {\n cls(0);\n while (time >= 0)\n  registers[" + std::to_string(9 + round) +
             "]++;\n}\n");
        std::this_thread::sleep_for(milliseconds(900)); // compiled, and hanging
        const auto fixed = Clock::now();
        save("// " + std::to_string(round) + "\n" + (isGrey ? greyProgram : whiteProgram));
        ASSERT_TRUE(desktop.shows(isGrey ? grey : white)) << console->output();
        quickest = std::min(quickest, Clock::now() - fixed);
    }
    // The loop would be ended after two seconds, were it not for the save.
    EXPECT_LT(quickest, std::chrono::seconds(1));
    expectAnswers("Fixes while a kernel hangs");
}

TEST_F(WrongProgramTest, SavedOnceMoreOrWantedOnceMoreItRunsAgain) {
    start();
    const std::string hangsAtX = "void fx() {\n while (keydown('x')) registers[9]++;\n"
                                 " float g = 128.0 / 255; cls(float4(g, g, g, 1));\n}\n";
    for (const bool isSaved : {true, false}) {
        save(whiteProgram);
        ASSERT_TRUE(desktop.shows(white)) << console->output();
        desktop.act({"keydown", "x"});
        save(hangsAtX);
        waitForBadge(white);
        desktop.act({"keyup", "x"});
        isSaved ? save(hangsAtX) : desktop.press("ctrl+Return");
        EXPECT_TRUE(desktop.shows(grey)) << console->output();
        EXPECT_TRUE(eventually([&] { return !hasBadge(); }));
    }
}

// A frame takes much longer than a refresh of the display here, and three of them are in flight.
TEST_F(WrongProgramTest, SlowFramesHoldNobodyUp) {
    start();
    // Each step waits for the one before it, on one core, so that no device is good at it.
    save(R"(void cpu() {
    if (core != 0)
        return;
    float sum = 0;
    for (int i = 0; i < 60000000; ++i)
        sum = fract(sum * 1.1 + 0.3);
    poke32(peek32<int>(0) + 1 + int(sum * 1e-6), 0);
}
void fx() { cls(float4(float3(peek32<int>(0) % 2), 1)); }
)");
    ASSERT_TRUE(desktop.shows(black)) << console->output();
    ASSERT_TRUE(desktop.shows(white)) << console->output(); // for one frame
    const auto begin = Clock::now();
    ASSERT_TRUE(desktop.shows(black)) << console->output();
    const std::chrono::duration<double, std::milli> frame = Clock::now() - begin;
    probe->take();
    std::this_thread::sleep_for(std::chrono::seconds(2));
    const Latencies gaps = probe->take();
    std::cout << "Frames of " << frame.count() << " ms: " << gaps << '\n';
    EXPECT_GT(gaps.count(), 0U);
    EXPECT_LT(gaps.quantile(0.5), frame.count() / 4);
}

TEST_F(WrongProgramTest, AFileWithAFatalTextOpensAndWaitsForABetterOne) {
    std::ofstream(file, std::ios::binary) << "int4 music = {0,4,8,1};\nvoid fx() { cls(0); }\n";
    console.emplace(desktop, std::vector<std::string>{file});
    ASSERT_TRUE(console->focus()) << console->output();
    EXPECT_TRUE(eventually([&] { return hasBadge(); })) << console->output();
    save(whiteProgram);
    EXPECT_TRUE(desktop.shows(white)) << console->output();
}

} // namespace app::tests
