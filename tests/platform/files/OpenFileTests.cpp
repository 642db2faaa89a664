// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/files/OpenFile.h"

#include "tests/ScratchFolder.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <thread>

namespace platform {
namespace {

namespace fs = std::filesystem;

/// What the program that was started has written, once it has.
std::string waitFor(const std::string& path) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (tests::contentsOf(path).empty() && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    return tests::contentsOf(path);
}

TEST(OpenFile, SplitsTheCommandAndAppendsThePath) {
    const tests::ScratchFolder folder;
    const std::string script =
        folder.file("an editor", "#!/bin/sh\nprintf '%s|' \"$@\" > \"$RESULT.part\"\n"
                                 "mv \"$RESULT.part\" \"$RESULT\"\nsleep 1\n");
    fs::permissions(script, fs::perms::owner_all);
    const std::string result = folder.path("result");
    ::setenv("RESULT", result.c_str(), 1);
    ASSERT_TRUE(openFile("/some where/a.metal", "'" + script + "' -n 'two words'"));
    EXPECT_EQ(waitFor(result), "-n|two words|/some where/a.metal|");

    // Without a command it is the desktop's business.
    const fs::path path = std::getenv("PATH");
    fs::rename(script, folder.path("xdg-open"));
    fs::remove(result);
    ::setenv("PATH", (folder.path("") + ":" + path.string()).c_str(), 1);
    ASSERT_TRUE(openFile("/b.metal", ""));
    EXPECT_EQ(waitFor(result), "/b.metal|");
    ::setenv("PATH", path.c_str(), 1);
}

TEST(OpenFile, SaysWhatCannotBeStarted) {
    for (const char* command : {"echo $(date)", "a | b", "'unfinished"})
        EXPECT_FALSE(openFile("/a.metal", command)) << command;
    EXPECT_EQ(openFile("/a.metal", "/no/such/editor").error().message,
              "cannot start /no/such/editor: No such file or directory");
}

} // namespace
} // namespace platform
