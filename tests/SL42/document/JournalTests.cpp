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
    /// In a process that is then killed.
    void recordAndDie(const std::string& document, const std::string& title,
                      const std::vector<std::string>& sources) const {
        const auto record = [&] {
            Journal journal(folder);
            journal.document = document;
            for (const std::string& source : sources)
                if (!journal.record(title, source))
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
        if (std::filesystem::file_size(entry) < 20)
            std::filesystem::last_write_time(entry, std::filesystem::file_time_type::clock::now() -
                                                        std::chrono::hours(1));
    const auto entries = Journal::recoverable(folder);
    ASSERT_EQ(entries.size(), 2U);
    EXPECT_EQ(entries[0].document, "/home/me/a show\n.sl42");
    EXPECT_EQ(entries[0].title, "a show\n");
    EXPECT_EQ(entries[0].source, source);
    EXPECT_LT(std::chrono::system_clock::now() - entries[0].lastChange, std::chrono::minutes(1));
    EXPECT_EQ(entries[1].document, "");
    EXPECT_EQ(entries[1].source, "");
    EXPECT_TRUE(Journal::discard(entries[0]));
    EXPECT_FALSE(Journal::discard(entries[0])); // somebody was faster
    EXPECT_EQ(Journal::recoverable(folder).size(), 1U);
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

TEST_F(JournalTest, IsCheap) {
    Journal journal(folder);
    const auto start = std::chrono::steady_clock::now();
    for (int change = 0; change < 100; ++change)
        ASSERT_TRUE(journal.record("Untitled", std::string(16'384, 'x')));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
}

} // namespace
} // namespace starloom
