// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The console's window as a person meets it: pixels on a screen, keys, the mouse, files.
#include "SL42/document/History.h"
#include "SL42/document/Trim.h"
#include "tests/app/WindowFixture.h"

#include <gtest/gtest.h>

#include <signal.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <random>
#include <ranges>
#include <sstream>
#include <thread>

namespace app::tests {
namespace {

namespace fs = std::filesystem;

using WindowTest = WindowFixture;

} // namespace

TEST_F(WindowTest, ShowsTheProgramAndHandsItKeysAndMouse) {
    const std::string file = files.file("input.metal", R"(void fx() {
    cls(keydown('a') ? float4(1) : float4(0, 0, 0, 1));
    circ(mousepos(), 6, float4(float3(mousebutton().x ? 1 : 128.0 / 255), 1));
}
void cpu() { registers[MousePointer] = Hide; })");
    start(file, black);

    desktop.act({"keydown", "a"});
    EXPECT_TRUE(desktop.shows(white));
    desktop.act({"keyup", "a"});
    EXPECT_TRUE(desktop.shows(black));

    // The picture is under the pointer, and the pointer itself is hidden.
    for (const int x : {200, 700}) {
        const int y = 150 + x / 4;
        desktop.act({"mousemove", std::to_string(x), std::to_string(y)});
        EXPECT_TRUE(eventually([&] { return screen.at(x, y) == grey; })) << x;
    }
    desktop.act({"mousedown", "1"});
    EXPECT_TRUE(eventually([&] { return screen.at(700, 325) == white; }));
    desktop.act({"mouseup", "1"});
    EXPECT_TRUE(eventually([&] { return screen.at(700, 325) == grey; }));
}

TEST_F(WindowTest, RestsWhileNobodyCanSeeIt) {
    // Another colour every frame, from a count in the program's memory.
    start(files.file("count.metal", R"(
void cpu() { if (core == 0) poke32(peek32<int>(0) + 1, 0); }
void fx() { cls(float4(float3(peek32<int>(0) % 2), 1)); })"),
          white, {"SL42_TRACE=1"});
    const auto flickers = [&] { return desktop.shows(white) && desktop.shows(black); };
    ASSERT_TRUE(flickers()) << console->output();
    const auto frames = [&] {
        const std::string output = console->output();
        std::size_t count = 0;
        for (auto at = output.find("Render"); at != output.npos; at = output.find("Render", at + 1))
            ++count;
        return count;
    };
    const std::string window = desktop.ask("search --onlyvisible --name count.metal").substr(0, 20);
    desktop.ask("windowunmap --sync " + window);
    const auto before = frames();
    std::this_thread::sleep_for(milliseconds(3000));
    const auto hidden = frames() - before;
    EXPECT_GE(hidden, 1U);
    EXPECT_LE(hidden, 6U);
    desktop.ask("windowmap --sync " + window);
    EXPECT_TRUE(flickers()) << console->output();
}

TEST_F(WindowTest, OtherDocumentsEndWithoutATrace) {
    files.file("broken.sl42", "This is no document at all.");
    const std::string file = files.file("calm.metal", whiteProgram);
    start(file, white);

    desktop.press("ctrl+o");
    ASSERT_TRUE(eventually([&] { return desktop.hasWindow(console->id(), "^Open$"); }));
    desktop.focus(console->id(), "^Open$");
    desktop.act({"type", files.path("broken.sl42")});
    desktop.press("Return");
    // The other process prints its message and ends; this one says so, and is otherwise as before.
    EXPECT_TRUE(saysWhatIsWrong()) << console->output();
    EXPECT_EQ(desktop.picture(), white);
    save(file, blackProgram);
    EXPECT_TRUE(desktop.shows(black));
}

// Whoever starts the console from the desktop's menu sees no terminal.
TEST_F(WindowTest, SaysWhatCannotBeOpened) {
    for (const auto& [name, contents] :
         {std::pair("empty.sl42", ""), {"binary.metal", "\xff\xfe"}}) {
        const std::string file = files.file(name, contents);
        ConsoleProcess opened(desktop, {file});
        ASSERT_TRUE(eventually([&] { return desktop.hasWindow(opened.id(), "^Starloom 42$"); }))
            << opened.output();
        desktop.focus(opened.id(), "^Starloom 42$");
        desktop.press("Return");
        EXPECT_EQ(opened.wait(), 1);
        EXPECT_NE(opened.output().find(file + ": "), std::string::npos) << opened.output();
    }
}

TEST_F(WindowTest, ADocumentThatCrashesTakesNobodyWithIt) {
    start(files.file("calm.metal", whiteProgram), white);

    desktop.press("ctrl+n");
    // It is started again until it has died too often; then this one says so.
    std::vector<pid_t> killed{console->id()};
    EXPECT_TRUE(eventually([&] {
        std::istringstream windows(
            desktop.ask("search --onlyvisible --name '^Untitled' getwindowpid %@"));
        if (pid_t process = 0; windows >> process && process > 0 && killed.back() != process) {
            ::kill(process, SIGABRT);
            killed.push_back(process);
        }
        return killed.size() == 5;
    }));
    EXPECT_TRUE(saysWhatIsWrong()) << console->output();
    EXPECT_TRUE(desktop.shows(white));
    EXPECT_TRUE(console->isRunning());
}

TEST_F(WindowTest, AWindowThatDiesComesBackAsItWas) {
    const std::string file = files.file("live.metal", greyProgram);
    start(file, grey);
    desktop.press("F11");
    const auto isFull = [&] { return screen.at(1250, 400) != Colour{0x17, 0x18, 0x1c}; };
    ASSERT_TRUE(eventually(isFull));
    const auto diesAndReturns = [&] {
        const pid_t before = console->id();
        ::kill(before, SIGKILL); // which reaches also who was stopped
        EXPECT_TRUE(eventually([&] { return console->id() != before && console->id() != 0; }));
        EXPECT_TRUE(desktop.shows(grey)) << console->output();
    };
    diesAndReturns();
    EXPECT_TRUE(eventually(isFull));
    ASSERT_TRUE(console->focus());
    desktop.press("F11"); // and what happened is said
    EXPECT_TRUE(saysWhatIsWrong());

    // The same file is followed, and a text that has drawn nothing yet is offered, not run.
    save(file, blackProgram);
    ASSERT_TRUE(desktop.shows(black)) << console->output();
    save(file, greyProgram);
    ASSERT_TRUE(desktop.shows(grey)) << console->output();
    ::kill(console->id(), SIGSTOP);
    save(file, whiteProgram);
    diesAndReturns();
    ASSERT_TRUE(console->focus());
    EXPECT_TRUE(eventually([&] { return hasBadge(); }));
    desktop.press("ctrl+Return");
    EXPECT_TRUE(desktop.shows(white)) << console->output();
    EXPECT_TRUE(eventually([&] { return !hasBadge(); }));

    console->signal(SIGTERM);
    EXPECT_EQ(console->wait(), -SIGTERM);
    EXPECT_TRUE(eventually([&] { return desktop.picture() != white; }));
}

// The same file twice is one window, also when its first one was killed.
TEST_F(WindowTest, AFileThatIsOpenIsNotOpenedAgain) {
    const std::string file = files.file("show.metal", greyProgram);
    start(file, grey);
    ConsoleProcess second(desktop, {file});
    EXPECT_EQ(second.wait(), 0) << second.output();
    EXPECT_TRUE(desktop.shows(grey));
    console->kill();
    EXPECT_TRUE(eventually([&] { return desktop.picture() != grey; }));
    start(file, grey);
}

// An editor saves ten times a second, each text as soon as the history has the one before it, and
// the window is killed again and again. SL42_KILLS says how often.
TEST_F(WindowTest, NoTextIsMissingHoweverOftenTheWindowIsKilled) {
    const char* const wanted = std::getenv("SL42_KILLS");
    const int kills = wanted ? std::atoi(wanted) : 4;
    const std::string file = files.file("live.metal", greyProgram);
    start(file, grey);
    const fs::path history =
        starloom::History::fileOf(files.path("state/starloom42/history"), file);
    const auto isKept = [&](const std::string& text) {
        const auto entries = starloom::History::read(history).entries;
        return std::ranges::any_of(std::views::reverse(entries), [&](const auto& entry) {
            return starloom::trimmed(entry.text()) == starloom::trimmed(text);
        });
    };
    const auto textOf = [](int number) {
        return greyProgram + "// " + std::to_string(number) + "\n";
    };
    int saved = 0;
    std::atomic<int> missing = 0;
    std::jthread editor([&](const std::stop_token& stop) {
        while (!stop.stop_requested() && missing == 0) {
            const std::string text = textOf(++saved);
            save(file, text);
            std::this_thread::sleep_for(milliseconds(100));
            if (!eventually([&] { return isKept(text); }))
                missing = saved;
        }
    });
    std::mt19937 random(1);
    for (int kill = 0; kill < kills && missing == 0; ++kill) {
        std::this_thread::sleep_for(milliseconds(random() % 1500));
        const pid_t process = console->id();
        if (process != 0)
            ::kill(process, SIGKILL);
        const auto isBack = [&] { return console->id() != 0 && console->id() != process; };
        EXPECT_TRUE(eventually([&] { return isBack() || !console->isRunning(); }));
        if (!console->isRunning()) // it had died too often, or before it had a window
            console.emplace(desktop, std::vector<std::string>{file});
    }
    editor.request_stop();
    editor.join();
    EXPECT_EQ(missing, 0) << console->output();
    EXPECT_GT(saved, kills);
    for (int number = 1; number <= saved; ++number)
        EXPECT_TRUE(isKept(textOf(number))) << number;
    std::cout << kills << " kills, " << saved << " texts\n";
}

TEST_F(WindowTest, TextsOfProcessesThatWereKilledAreOfferedAgain) {
    const std::string editor = // which makes every program grey
        "#!/bin/sh\nmv \"$1\" \"$1~\"\nprintf '%s' '" + greyProgram + "' >\"$1\"\n";
    fs::permissions(files.file("editor", editor), fs::perms::owner_all);
    {
        ConsoleProcess first(desktop, {});
        ASSERT_TRUE(first.focus()) << first.output();
        desktop.press("ctrl+e");
        ASSERT_TRUE(desktop.shows(grey)) << first.output();
        first.kill();
    }
    ASSERT_TRUE(eventually([&] { return desktop.picture() != grey; }));
    ConsoleProcess next(desktop, {});
    ASSERT_TRUE(eventually([&] { return desktop.hasWindow(next.id(), "^Recover$"); }))
        << next.output();
    desktop.focus(next.id(), "^Recover$");
    desktop.press("Return");
    EXPECT_TRUE(desktop.shows(grey)) << next.output();
    // The recovered document has a process of its own, which nobody here has started.
    const std::string owner =
        desktop.ask("search --onlyvisible --name '^Untitled' getwindowpid %@");
    std::istringstream numbers(owner);
    for (pid_t process = 0; numbers >> process && process > 0;)
        if (process != next.id())
            ::kill(process, SIGTERM);
}

} // namespace app::tests
