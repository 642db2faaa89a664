// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/MoveFile.h"

#include "tests/ScratchFolder.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace platform {
namespace {

namespace fs = std::filesystem;

// The second folder is in memory, as a rule on another file system than the first.
TEST(MoveFile, MovesWithinAndBetweenFileSystems) {
    const tests::ScratchFolder scratch;
    const fs::path memory = fs::is_directory("/dev/shm") ? "/dev/shm" : fs::temp_directory_path();
    const std::string elsewhere = memory / fs::path(scratch.path("")).parent_path().filename();
    const std::string from = scratch.file("from", "contents");
    for (const std::string& to : {scratch.path("to"), elsewhere}) {
        ASSERT_TRUE(moveFile(from, to));
        EXPECT_EQ(tests::contentsOf(to), "contents");
        EXPECT_FALSE(fs::exists(from));
        ASSERT_TRUE(moveFile(to, from)) << "and back";
        EXPECT_FALSE(fs::exists(to));
    }

    scratch.file("to", "precious");
    fs::copy_file(scratch.path("to"), elsewhere);
    for (const std::string& to : {scratch.path("to"), elsewhere}) {
        const auto moved = moveFile(from, to);
        ASSERT_FALSE(moved);
        EXPECT_TRUE(moved.error().message.ends_with(": File exists")) << moved.error().message;
        EXPECT_EQ(tests::contentsOf(to), "precious");
        EXPECT_EQ(tests::contentsOf(from), "contents");
    }
    fs::remove(elsewhere);
    EXPECT_EQ(scratch.names(), (std::vector<std::string>{"from", "to"}));
}

} // namespace
} // namespace platform
