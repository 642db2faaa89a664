// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/files/FileCache.h"
#include "tests/ScratchFolder.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <functional>

namespace platform {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

constexpr std::size_t limit = 100;

Bytes bytesOf(std::string_view text) {
    const auto bytes = std::as_bytes(std::span(text));
    return {bytes.begin(), bytes.end()};
}

class FileCacheTest : public ::testing::Test {
protected:
    FileCacheTest() : cache(scratch.path("deep/cache")) {
        EXPECT_TRUE(cache.write("a", bytesOf("contents")));
    }
    fs::path file(const char* name) { return fs::path(scratch.path("deep/cache")) / name; }

    tests::ScratchFolder scratch;
    FileCache cache;
};

TEST_F(FileCacheTest, WhatIsWrittenIsReadAndThisUsersAlone) {
    EXPECT_EQ(cache.read("a", limit), bytesOf("contents"));
    EXPECT_TRUE(cache.write("a", bytesOf("other")));
    EXPECT_EQ(cache.read("a", limit), bytesOf("other"));
    EXPECT_EQ(cache.read("b", limit), Bytes());
    EXPECT_EQ(fs::status(file("a")).permissions(), fs::perms(0600));
    EXPECT_EQ(fs::status(file("a").parent_path()).permissions(), fs::perms(0700));
    EXPECT_EQ(tests::namesIn(file("")), std::vector<std::string>{"a"}) << "nothing is left aside";
}

TEST_F(FileCacheTest, WhatAnotherMayHavePutThereIsNotRead) {
    const std::string elsewhere = scratch.file("elsewhere", "contents");
    ::chmod(elsewhere.c_str(), 0600);
    struct Row {
        const char* what;
        std::function<void()> arrange;
    };
    const Row rows[] = {
        {"a link", [&] { fs::create_symlink(elsewhere, file("a")); }},
        {"a folder", [&] { fs::create_directory(file("a")); }},
        {"a pipe, which would block", [&] { ::mkfifo(file("a").c_str(), 0600); }},
        {"a file that others can read",
         [&] {
             fs::copy(elsewhere, file("a"));
             ::chmod(file("a").c_str(), 0604);
         }},
        {"a file that others can write",
         [&] {
             fs::copy(elsewhere, file("a"));
             ::chmod(file("a").c_str(), 0620);
         }},
        {"a file that is too long",
         [&] {
             fs::copy(elsewhere, file("a"));
             fs::resize_file(file("a"), limit + 1);
         }},
        {"a file of another user",
         [&] {
             fs::copy(elsewhere, file("a"));
             if (::chown(file("a").c_str(), 12345, 12345) != 0) // only root can
                 fs::remove(file("a"));
         }},
    };
    for (const Row& row : rows) {
        fs::remove(file("a"));
        row.arrange();
        EXPECT_EQ(cache.read("a", limit), Bytes()) << row.what;
    }
    fs::remove(file("a"));
    fs::create_symlink(elsewhere, file("a"));
    EXPECT_TRUE(cache.write("a", bytesOf("new")));
    EXPECT_EQ(tests::contentsOf(elsewhere), "contents") << "a link is replaced, not followed";
    EXPECT_EQ(cache.read("a", limit), bytesOf("new"));
}

TEST_F(FileCacheTest, AFolderThatIsNotPrivateIsNotUsed) {
    for (const unsigned permissions : {0755u, 0770u, 0707u}) {
        ::chmod(file("").c_str(), permissions);
        EXPECT_EQ(cache.read("a", limit), Bytes());
        EXPECT_FALSE(cache.write("b", bytesOf("contents")));
    }
    ::chmod(file("").c_str(), 0700);
    EXPECT_EQ(cache.read("a", limit), bytesOf("contents"));
    fs::create_directory_symlink(file("").parent_path(), scratch.path("link"));
    EXPECT_EQ(FileCache(scratch.path("link")).read("a", limit), Bytes());
    FileCache(scratch.path("nowhere")).trim(0, 0);
    EXPECT_FALSE(FileCache().isOn());
    EXPECT_EQ(FileCache().read("a", limit), Bytes());
    EXPECT_FALSE(FileCache().write("a", {}));
}

TEST_F(FileCacheTest, WhatWasNotUsedForLongestLeavesFirst) {
    const auto now = fs::file_time_type::clock::now();
    for (const char* name : {"b", "c", "d"})
        cache.write(name, Bytes(10));
    const auto age = [&](const char* name, std::chrono::hours hours) {
        fs::last_write_time(file(name), now - hours);
    };
    age("a", 4h);
    age("b", 3h);
    age("c", 2h);
    age("d", 1h);
    EXPECT_EQ(cache.read("a", limit), bytesOf("contents")); // is used by that
    scratch.file("deep/cache/dead.1.partial", "left by a dead process");
    scratch.file("deep/cache/live.1.partial", "being written");
    age("dead.1.partial", 2h);
    const std::vector<std::string> both{"a", "d", "live.1.partial"};
    cache.trim(20, 10);
    EXPECT_EQ(tests::namesIn(file("")), both);
    cache.trim(1000, 1);
    EXPECT_EQ(tests::namesIn(file("")), (std::vector<std::string>{"a", "live.1.partial"}));
}

} // namespace
} // namespace platform
