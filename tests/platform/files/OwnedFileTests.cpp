// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/files/OwnedFile.h"

#include "tests/ScratchFolder.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>

namespace platform {
namespace {

using tests::contentsOf;

std::span<const std::byte> bytes(std::string_view text) {
    return std::as_bytes(std::span(text));
}

TEST(OwnedFile, BelongsToWhoeverHoldsIt) {
    const tests::ScratchFolder folder;
    const std::string path = folder.path("new/folder/file");
    {
        OwnedFile file(path);
        for (const char* text : {"one", "two", ""}) {
            ASSERT_TRUE(file.replace(bytes(text)));
            EXPECT_TRUE(OwnedFile::isOwned(path));
            EXPECT_EQ(contentsOf(path), text);
        }
        using enum std::filesystem::perms;
        EXPECT_EQ(std::filesystem::status(path).permissions(), owner_read | owner_write);
    }
    EXPECT_FALSE(OwnedFile::isOwned(path)); // left behind
    OwnedFile next(path);
    ASSERT_TRUE(next.replace(bytes("three")));
    next.remove();
    EXPECT_FALSE(std::filesystem::exists(path));
    EXPECT_TRUE(OwnedFile::isOwned(path)); // there is nothing to take
}

TEST(OwnedFile, IsFreeOnceItsProcessIsKilled) {
    const tests::ScratchFolder folder;
    const std::string path = folder.path("file");
    int ready[2];
    ASSERT_EQ(::pipe(ready), 0);
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        OwnedFile file(path);
        const char done = file.replace(bytes("left behind")) ? 'y' : 'n';
        static_cast<void>(!::write(ready[1], &done, 1));
        ::pause();
    }
    char answer = 0;
    ASSERT_EQ(::read(ready[0], &answer, 1), 1);
    EXPECT_EQ(answer, 'y');
    EXPECT_TRUE(OwnedFile::isOwned(path));
    ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, 0);
    EXPECT_FALSE(OwnedFile::isOwned(path));
    EXPECT_EQ(contentsOf(path), "left behind");
}

TEST(OwnedFile, ReportsWhyItCannotBeWritten) {
    const tests::ScratchFolder folder;
    OwnedFile file(folder.file("plain", "") + "/file");
    const auto written = file.replace(bytes("text"));
    ASSERT_FALSE(written);
    EXPECT_NE(written.error().message.find("Not a directory"), std::string::npos);
}

} // namespace
} // namespace platform
