// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/document/Journal.h"

#include "tests/ScratchFolder.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>

namespace starloom {
namespace {

using tests::namesIn;

class JournalTest : public testing::Test {
protected:
    /// In a process that is then killed. The first of the sources has drawn a picture.
    void recordAndDie(const std::string& document, const std::string& title,
                      const std::vector<std::string>& sources) const {
        const auto record = [&] {
            Journal journal(folder);
            journal.document = document;
            for (const std::string& source : sources)
                if (!journal.record(title, source) || !journal.recordGood(title, sources[0]))
                    ::_exit(1);
            ::raise(SIGKILL);
        };
        EXPECT_EXIT(record(), testing::KilledBySignal(SIGKILL), "");
    }

    const tests::ScratchFolder scratch;
    const std::filesystem::path folder = scratch.path("state/journal");
};

TEST_F(JournalTest, NothingIsLeftAfterANormalEnd) {
    EXPECT_TRUE(Journal::recoverable(folder).empty()); // there is no such folder
    {
        Journal journal(folder);
        EXPECT_TRUE(journal.record("Untitled", "one"));
        EXPECT_TRUE(journal.record("Untitled", "two"));
        EXPECT_EQ(namesIn(folder).size(), 1U);
        EXPECT_TRUE(Journal::recoverable(folder).empty()); // we are still alive
    }
    EXPECT_EQ(namesIn(folder).size(), 0U);
}

TEST_F(JournalTest, WhatADeadProcessLeftCanBeRecovered) {
    const std::string source = std::string("void fx() {}\n\0 // caf\xC3\xA9", 23);
    recordAndDie("/home/me/a show\n.sl42", "a show\n", {"older", source});
    recordAndDie("", "Untitled", {""});
    for (const auto& entry : std::filesystem::directory_iterator(folder)) // order them
        if (std::filesystem::file_size(entry) < 24)
            std::filesystem::last_write_time(entry, std::filesystem::file_time_type::clock::now() -
                                                        std::chrono::hours(1));
    const auto entries = Journal::recoverable(folder);
    ASSERT_EQ(entries.size(), 2U);
    EXPECT_EQ(entries[0].document, "/home/me/a show\n.sl42");
    EXPECT_EQ(entries[0].title, "a show\n");
    EXPECT_EQ(entries[0].source, source);
    EXPECT_EQ(entries[0].good, "older");
    EXPECT_FALSE(entries[0].saved);
    EXPECT_LT(std::chrono::system_clock::now() - entries[0].lastChange, std::chrono::minutes(1));
    EXPECT_EQ(entries[1].document, "");
    EXPECT_EQ(entries[1].source, "");
    EXPECT_EQ(entries[1].good, "");
    EXPECT_TRUE(Journal::discard(entries[0]));
    EXPECT_FALSE(Journal::discard(entries[0])); // somebody was faster
    EXPECT_EQ(Journal::recoverable(folder).size(), 1U);
}

// The window that comes after a dead one needs its texts, though nobody would lose them.
TEST_F(JournalTest, TextsThatAreSavedElsewhereAreKeptButNotOffered) {
    Journal journal(folder);
    ASSERT_TRUE(journal.recordGood("show", "opened"));
    const auto entry = [&] { return Journal::read(journal.file()).value_or(JournalEntry{}); };
    EXPECT_EQ(entry().source, "opened");
    EXPECT_EQ(entry().good, "opened");
    EXPECT_TRUE(entry().saved);

    ASSERT_TRUE(journal.record("show", "newer"));
    EXPECT_FALSE(entry().saved);
    journal.document = "/home/me/show.metal";
    journal.forget();
    EXPECT_EQ(entry().document, "/home/me/show.metal");
    EXPECT_EQ(entry().source, "newer");
    EXPECT_EQ(entry().good, "opened");
    EXPECT_TRUE(entry().saved);

    const auto copy = folder / "dead.journal"; // which nobody owns
    std::filesystem::copy_file(journal.file(), copy);
    EXPECT_TRUE(Journal::recoverable(folder).empty());
    EXPECT_TRUE(std::filesystem::exists(copy));
    std::filesystem::last_write_time(copy, std::filesystem::file_time_type::clock::now() -
                                               std::chrono::hours(1));
    EXPECT_TRUE(Journal::recoverable(folder).empty());
    EXPECT_FALSE(std::filesystem::exists(copy));
}

TEST_F(JournalTest, DamagedFilesHoldNothing) {
    using namespace std::string_literals;
    for (const std::string& bytes :
         {""s, "d\0h\0title\0\0"s, "d\0h\0title\0\0005\0four"s, "d\0h\0t\0\0x\0text"s,
          "d\0h\0t\0\00018446744073709551616\0text"s, "d\0h\0t\0\0001\0\xC3\xA9"s,
          "d\0h\0t\0\0\0\xC3"s})
        EXPECT_FALSE(Journal::read(scratch.file("damaged", bytes))) << bytes;
    EXPECT_TRUE(Journal::read(scratch.file("whole", "d\0h\0t\0\0001\0gnewest"s)));
}

TEST_F(JournalTest, ForeignFilesAreLeftAlone) {
    recordAndDie("", "Untitled", {"text"});
    scratch.file("state/journal/notes", "mine");
    scratch.file("state/journal/half.journal", "no zero in here");
    EXPECT_EQ(Journal::recoverable(folder).size(), 1U);
    EXPECT_EQ(namesIn(folder).size(), 3U);
}

TEST_F(JournalTest, LivesInTheStateFolder) {
    ::setenv("XDG_STATE_HOME", "/state", 1);
    EXPECT_EQ(Journal::folderOfThisUser(), "/state/starloom42/journal");
    ::setenv("XDG_STATE_HOME", "relative", 1);
    ::setenv("HOME", "/home/me", 1);
    EXPECT_EQ(Journal::folderOfThisUser(), "/home/me/.local/state/starloom42/journal");
    ::unsetenv("HOME");
    EXPECT_EQ(Journal::folderOfThisUser(), "");
    EXPECT_TRUE(Journal("").record("Untitled", "text")); // nowhere, and nobody is bothered
}

} // namespace
} // namespace starloom
