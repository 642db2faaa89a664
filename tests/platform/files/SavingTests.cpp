// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Saving a file that exists already, and what is left of it when saving goes wrong.
#include "platform/AsideFile.h"
#include "platform/WholeFile.h"
#include "tests/ScratchFolder.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <filesystem>

namespace platform {
namespace {

namespace fs = std::filesystem;
using tests::contentsOf;

class Saving : public testing::Test {
protected:
    /// Saves far more than the process may write to a file. Ends with 1 if told that.
    [[noreturn]] void saveWithoutRoom(bool survives) const {
        const rlimit limit{4096, 4096};
        ::setrlimit(RLIMIT_FSIZE, &limit);
        ::signal(SIGXFSZ, survives ? SIG_IGN : SIG_DFL);
        const auto saved = saveWholeFile(file, Bytes(100'000, std::byte{'n'}));
        ::_exit(!saved && saved.error().message == "cannot write " + file + ": File too large");
    }

    const tests::ScratchFolder folder;
    const std::string file = folder.file("show.sl42", "old");
    const Bytes text{std::byte{'n'}, std::byte{'e'}, std::byte{'w'}};
};

TEST_F(Saving, ReplacesTheWholeFile) {
    fs::permissions(file, fs::perms::owner_read | fs::perms::owner_write);
    fs::create_symlink(file, folder.path("link"));
    ASSERT_TRUE(saveWholeFile(folder.path("link"), text));
    EXPECT_EQ(contentsOf(file), "new");
    EXPECT_TRUE(fs::is_symlink(folder.path("link")));
    EXPECT_EQ(fs::status(file).permissions(), fs::perms::owner_read | fs::perms::owner_write);
    ASSERT_TRUE(saveWholeFile(folder.path("another"), text));
    EXPECT_EQ(folder.names(), (std::vector<std::string>{"another", "link", "show.sl42"}));
}

TEST_F(Saving, LeavesTheOldFileWhenItFails) {
    EXPECT_EXIT(saveWithoutRoom(true), testing::ExitedWithCode(1), "");
    EXPECT_EQ(contentsOf(file), "old");
    EXPECT_EQ(folder.names(), std::vector<std::string>{"show.sl42"});
    EXPECT_FALSE(saveWholeFile(folder.path("none/show.sl42"), text));
    EXPECT_FALSE(saveWholeFile(folder.path(""), text));
}

TEST_F(Saving, LeavesTheOldFileWhenTheProcessIsKilled) {
    EXPECT_EXIT(saveWithoutRoom(false), testing::KilledBySignal(SIGXFSZ), "");
    EXPECT_EQ(contentsOf(file), "old");
    ASSERT_TRUE(saveWholeFile(file, text)); // whatever the killed process has left beside it
    EXPECT_EQ(contentsOf(file), "new");
}

TEST_F(Saving, RemovesWhatAKilledProcessHasLeft) {
    EXPECT_EXIT(saveWithoutRoom(false), testing::KilledBySignal(SIGXFSZ), "");
    ASSERT_EQ(folder.names().size(), 2U);
    const std::string left = folder.path(folder.names().back());
    ASSERT_TRUE(left.ends_with(".partial"));
    const std::string others[] = {folder.file("show.sl42.notes.partial", "kept"),
                                  folder.file("reshow.sl42.7.0.partial", "kept"),
                                  folder.file("show.sl42.7.partial", "kept")};
    auto busy = AsideFile::create(file);
    ASSERT_TRUE(busy);
    ASSERT_TRUE(saveWholeFile(file, text));
    EXPECT_TRUE(fs::exists(left)); // its process may just be about to lock it
    const auto longAgo = fs::file_time_type::clock::now() - std::chrono::minutes(5);
    for (const auto& entry : fs::directory_iterator(folder.path("")))
        fs::last_write_time(entry.path(), longAgo);
    ASSERT_TRUE(saveWholeFile(file, text));
    EXPECT_FALSE(fs::exists(left));
    EXPECT_TRUE(fs::exists(busy->path()));
    for (const std::string& other : others)
        EXPECT_TRUE(fs::exists(other)) << other;
}

} // namespace
} // namespace platform
