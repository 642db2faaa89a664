// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Which events make a file read, and what is then made of its text; saving patterns of editors that
// cannot run here; making the file.
#include "tests/LiveCoding/LiveCodingTest.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <regex>

namespace starloom {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using platform::FileEvent;
using enum FileEvent;
using Events = std::vector<FileEvent>;
using Texts = std::vector<std::string>;
constexpr auto byRename = LiveCodingFile::Saves::ByRename;
constexpr auto everyWrite = LiveCodingFile::Saves::EveryWrite;

class LiveCodingFileTest : public LiveCodingTest {
protected:
    void writeInPlace(std::string_view text) const { folder.file("show.metal", text); }
    void replace(std::string_view text) const {
        fs::rename(folder.file("show.metal.tmp", text), path);
    }
};

TEST_F(LiveCodingFileTest, ReadsWhenASaveIsComplete) {
    // The batches of events, and which of them it is read after, counted from 1, or 0 for never:
    // when renaming counts, and when every write does.
    const std::tuple<const char*, std::vector<Events>, int, int> rows[] = {
        {"new file renamed into place", {{MovedIn}}, 1, 1},
        {"written in place", {{Modified, Written}}, 0, 1},
        {"replaced without renaming", {{Created, Modified, Written}}, 0, 1},
        {"old file renamed aside", {{MovedAway, Created, Modified, Written}}, 1, 1},
        {"the same in two batches", {{MovedAway, Created}, {Modified, Written}}, 2, 2},
        {"a slow write", {{MovedAway}, {Created, Modified}, {Modified}, {Written}}, 4, 4},
        {"renamed away and back", {{MovedAway, MovedIn}}, 1, 1},
        {"just renamed away", {{MovedAway}}, 0, 0},
        {"a second write has begun", {{MovedIn, Modified}, {Written}}, 2, 2},
        {"events were lost", {{Unknown}}, 1, 1},
    };
    for (const auto& [label, batches, renamed, written] : rows)
        for (const bool every : {false, true}) {
            writeInPlace("old");
            texts.clear();
            watch(every ? everyWrite : byRename);
            writeInPlace("new"); // its own events stay in the queue, unread
            int readAfter = 0;
            for (std::size_t batch = 0; batch < batches.size(); ++batch) {
                file->handleEvents(batches[batch]);
                if (readAfter == 0 && !texts.empty())
                    readAfter = static_cast<int>(batch + 1);
            }
            EXPECT_EQ(readAfter, every ? written : renamed) << label << ", every " << every;
        }
}

TEST_F(LiveCodingFileTest, HandsOnWhatHasChangedOnce) {
    watch();
    replace("one");
    settle(1);
    replace("one");
    settle();
    EXPECT_EQ(texts, Texts{"one"});
    EXPECT_EQ(file->contents(), "one");
    for (const char* text : {"a", "b", "c", "two"}) // a batch
        replace(text);
    settle();
    EXPECT_EQ(texts.back(), "two");
    EXPECT_LE(texts.size(), 3U);
    file.reset();
    replace("three");
    settle();
    EXPECT_EQ(texts.back(), "two");
}

TEST_F(LiveCodingFileTest, AnUnusableTextLeavesTheLastOne) {
    watch();
    replace("");
    settle();
    fs::remove(path);
    file->handleEvents(Events{MovedIn});
    replace("caf\xC3"); // cut in the middle of a letter
    settle();
    EXPECT_EQ(texts, Texts{});
    EXPECT_EQ(file->contents(), "old");
    const std::string failure = "Failed to read shader source file: " + path + ": ";
    EXPECT_EQ(lines, (Texts{failure + "No such file or directory", failure + "Not UTF-8 text"}));
    writeInPlace("the rest of that save");
    settle(1);
    EXPECT_EQ(texts, Texts{"the rest of that save"});
}

// Some editors empty the file, close it, and write it in a second go, in pieces.
TEST_F(LiveCodingFileTest, WritesInPlaceAreReadWhenTheyAreComplete) {
    watch(everyWrite);
    fs::resize_file(path, 0);
    {
        std::ofstream out(path);
        out << "void fx() {" << std::flush;
        settle();
        EXPECT_EQ(texts, Texts{});
        out << "}";
    }
    settle(1);
    EXPECT_EQ(texts, Texts{"void fx() {}"});
    std::ofstream neverClosed(path);
    neverClosed << "void fx() { cls(); }" << std::flush;
    settle(2);
    EXPECT_EQ(texts.back(), "void fx() { cls(); }");
}

TEST_F(LiveCodingFileTest, WhatWasWrittenBeforeTheWatchIsSeen) {
    writeInPlace("newer than what was read");
    watch(everyWrite);
    settle(1);
    EXPECT_EQ(texts, Texts{"newer than what was read"});
}

// Whoever writes in place where that does not count learns what to do about it.
TEST_F(LiveCodingFileTest, WritesThatDoNotCountAreTold) {
    watch();
    int ignored = 0;
    file->onIgnoredWrite = [&] { ++ignored; };
    writeInPlace("old");
    settle();
    EXPECT_EQ(ignored, 0) << "it holds what it held";
    writeInPlace("in place");
    settleUntil([&] { return ignored > 0; }, 20s);
    EXPECT_EQ(ignored, 1);
    replace("renamed");
    settle(1);
    EXPECT_EQ(ignored, 1);
    file->reloadOnEveryWrite = true;
    writeInPlace("in place again");
    settle(2);
    EXPECT_EQ(ignored, 1);
    EXPECT_EQ(texts, (Texts{"renamed", "in place again"}));
}

TEST_F(LiveCodingFileTest, FollowsALinkToWhatItPointsTo) {
    fs::create_symlink(path, folder.path("link.metal"));
    auto made =
        LiveCodingFile::watch(folder.path("link.metal"), "old", byRename, queue, log, received());
    ASSERT_TRUE(made);
    EXPECT_EQ((*made)->url(), fs::canonical(path));
    replace("new");
    settle(1);
    EXPECT_EQ(texts, Texts{"new"});
    EXPECT_FALSE(LiveCodingFile::watch(folder.path("none"), "", byRename, queue, log, received()));
}

TEST_F(LiveCodingFileTest, MakesAFileOfItsOwnAndOpensIt) {
    ::setenv("XDG_RUNTIME_DIR", folder.path("").c_str(), 1);
    const std::string script =
        folder.file("editor", "#!/bin/sh\nprintf edited > \"$1~\"; mv \"$1~\" \"$1\"\n");
    fs::permissions(script, fs::perms::owner_all);
    const auto create = [&](const std::string& title, const std::string& editor) {
        return LiveCodingFile::create(title, "metal", "text", editor, queue, log, received());
    };
    const auto first = create("A show", script);
    const auto second = create("A show", script);
    ASSERT_TRUE(first && second);
    EXPECT_TRUE(std::regex_match((*first)->url().filename().string(),
                                 std::regex("A show_[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-"
                                            "[89AB][0-9A-F]{3}-[0-9A-F]{12}\\.metal")))
        << (*first)->url();
    EXPECT_NE((*first)->url(), (*second)->url());
    settle(2);
    EXPECT_EQ(texts, (Texts{"edited", "edited"}));

    EXPECT_EQ(create("A show", "/no/editor").error().message,
              "cannot start /no/editor: No such file or directory");
    EXPECT_FALSE(create("no/folder", script));
    ::unsetenv("XDG_RUNTIME_DIR");
    const auto elsewhere = create("A show", "true");
    ASSERT_TRUE(elsewhere);
    EXPECT_EQ((*elsewhere)->url().parent_path(), fs::temp_directory_path());
    fs::remove((*elsewhere)->url());
}

} // namespace
} // namespace starloom
