// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/document/History.h"

#include "SL42/document/Journal.h"
#include "SL42/document/LineDifference.h"
#include "tests/ScratchFolder.h"

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <ctime>
#include <fstream>
#include <random>
#include <set>

namespace starloom {
namespace {

namespace fs = std::filesystem;
using Texts = std::vector<std::string>;
using platform::Bytes;

class HistoryTest : public testing::Test {
protected:
    static Texts textsIn(const fs::path& file) {
        Texts texts;
        for (const HistoryEntry& entry : History::read(file).entries)
            texts.push_back(entry.text());
        return texts;
    }
    static std::string randomText(std::size_t length) {
        std::mt19937 random(42);
        std::string text(length, ' ');
        for (char& character : text)
            character = static_cast<char>(' ' + random() % 95);
        return text;
    }

    const tests::ScratchFolder scratch;
    const fs::path folder = scratch.path("state/history");
    const fs::path document = scratch.path("show.metal");
};

TEST_F(HistoryTest, KeepsEveryTextAndWhatBecameOfIt) {
    const Bytes picture(3, std::byte{7});
    {
        History history(folder);
        history.setDocument(document);
        for (const char* text : {"one", "two", "two", "caf\xC3\xA9", ""})
            ASSERT_TRUE(history.record(text));
        history.noteCompiled("one", true);
        history.noteDrew("one");
        history.notePicture(1, picture);
        history.noteCompiled("two", false);
        history.noteDrew("somebody else's");
    }
    History later(folder);
    later.setDocument(scratch.path("./x/../show.metal"));
    ASSERT_TRUE(later.resume("one"));
    EXPECT_EQ(later.current(), 1U);
    ASSERT_TRUE(later.record("three"));
    later.noteDrew("one"); // it was on the stage
    const auto contents = History::read(History::fileOf(folder, document));
    EXPECT_EQ(contents.document, document);
    EXPECT_EQ(textsIn(later.file()), (Texts{"one", "two", "caf\xC3\xA9", "", "three"}));
    const auto& entries = contents.entries;
    EXPECT_TRUE(entries[0].drew && entries[0].compiled == true);
    EXPECT_EQ(entries[0].picture, picture);
    EXPECT_TRUE(!entries[1].drew && entries[1].compiled == false);
    EXPECT_FALSE(entries[2].compiled);
    EXPECT_EQ(entries[4].number, 5U);
    EXPECT_LT(std::chrono::system_clock::now() - entries[4].time, std::chrono::minutes(1));
}

TEST_F(HistoryTest, GoingBackAddsNothing) {
    History history(folder);
    for (const char* text : {"one", "two", "three"})
        ASSERT_TRUE(history.record(text));
    history.revisit(1);
    ASSERT_TRUE(history.record("one"));
    EXPECT_EQ(history.current(), 1U);
    EXPECT_EQ(textsIn(history.file()), (Texts{"one", "two", "three"}));
    history.revisit(2);
    ASSERT_TRUE(history.record("something else came first"));
    ASSERT_TRUE(history.record("two"));
    EXPECT_EQ(history.current(), 5U);
}

TEST_F(HistoryTest, GoesWithTheDocument) {
    History history(folder);
    for (const char* text : {"one", "two"})
        ASSERT_TRUE(history.record(text));
    history.noteDrew("two");
    const fs::path unnamed = history.file();
    {
        History other(folder);
        other.setDocument(document);
        ASSERT_TRUE(other.record("was there"));
    }
    history.setDocument(document);
    EXPECT_FALSE(fs::exists(unnamed));
    EXPECT_EQ(textsIn(history.file()), (Texts{"was there", "one", "two"}));
    EXPECT_TRUE(History::read(history.file()).entries[2].drew);
    ASSERT_TRUE(history.record("three"));
    const fs::path first = history.file();
    history.setDocument(scratch.path("copy.sl42"));
    EXPECT_EQ(textsIn(history.file()), (Texts{"was there", "one", "two", "three"}));
    history.setDocument(document);
    EXPECT_EQ(history.file(), first);
    EXPECT_EQ(textsIn(first).size(), 4U) << "what it has, it does not get again";
    EXPECT_EQ(History::files(folder).size(), 2U);
}

TEST_F(HistoryTest, DamageCostsOnlyWhatItHits) {
    History history(folder);
    for (const char* text : {"one", "two", "three"})
        ASSERT_TRUE(history.record(text));
    std::string bytes = tests::contentsOf(history.file());
    const auto mark = bytes.substr(0, 4);
    auto second = bytes.find(mark, bytes.find(mark, 1) + 1);
    bytes[second + 20] ^= 1;
    std::ofstream(history.file()) << "garbage" << bytes << mark << "half a record";
    EXPECT_EQ(textsIn(history.file()), (Texts{"one", "three"}));
    ASSERT_TRUE(history.record("four"));
    EXPECT_EQ(textsIn(history.file()), (Texts{"one", "three", "four"}));
    EXPECT_TRUE(History::read(scratch.path("none")).entries.empty());
    EXPECT_TRUE(History::read(scratch.path("")).entries.empty()) << "a folder";
}

// A record that announces 16 MiB behind every mark would have all of them summed up.
TEST_F(HistoryTest, GigabytesOfDamageCostNoTime) {
    const fs::path file = History::fileOf(folder, document);
    fs::create_directories(folder);
    {
        std::ofstream out(file, std::ios::binary);
        out.seekp(std::streamoff{3} << 30);
        const std::string announcement("\x89SL\n\0\0\0\1________", 16);
        std::string many;
        for (int i = 0; i < 65'536; ++i)
            many += announcement;
        for (int i = 0; i < 64; ++i)
            out << many;
    }
    fs::resize_file(scratch.file("huge.journal", "d"), std::uintmax_t{3} << 30);
    const std::clock_t start = std::clock(); // of the processor: others may be at work here
    History history(folder);
    history.setDocument(document);
    ASSERT_TRUE(history.record("on"));
    EXPECT_EQ(Journal::recoverable(scratch.path("")).size(), 0U);
    EXPECT_LT(std::clock() - start, CLOCKS_PER_SEC);
    EXPECT_LT(fs::file_size(file), History::maxLength);
    EXPECT_EQ(textsIn(file), Texts{"on"});
}

TEST_F(HistoryTest, ThrowsTheOldestAway) {
    History history(folder);
    const std::string filling = randomText(2 << 20);
    int count = 0;
    for (std::uintmax_t longest = 0; longest <= History::keptLength || count < 40; ++count) {
        ASSERT_TRUE(history.record(std::to_string(count) + filling));
        longest = std::max(longest, fs::file_size(history.file()));
        ASSERT_LT(longest, History::maxLength + (3 << 20));
    }
    const auto entries = History::read(history.file()).entries;
    EXPECT_LT(entries.size(), 20U);
    EXPECT_EQ(entries.back().text(), std::to_string(count - 1) + filling);
    EXPECT_EQ(entries.back().number, static_cast<std::uint64_t>(count));
    const fs::path old = scratch.file("state/history/old.history", "");
    fs::last_write_time(old, fs::file_time_type::clock::now() - std::chrono::days(400));
    ASSERT_TRUE(History(folder).record("next"));
    EXPECT_FALSE(fs::exists(old));
}

// What record() has come back from is kept, whenever the process is killed.
TEST_F(HistoryTest, KeepsWhatAKilledProcessHasTakenOver) {
    constexpr int kills = 200;
    std::mt19937 random(1);
    std::set<std::string> takenOver;
    for (int kill = 0; kill < kills; ++kill) {
        std::array<int, 2> pipe{};
        ASSERT_EQ(::pipe(pipe.data()), 0);
        const pid_t child = ::fork();
        if (child == 0) {
            History history(folder);
            history.setDocument(document);
            for (int text = 0;; ++text) {
                const int name = kill * 1'000'000 + text;
                if (!history.record(std::to_string(name) + std::string(5000, 'x')) ||
                    ::write(pipe[1], &name, sizeof name) != sizeof name)
                    ::_exit(1);
            }
        }
        ::close(pipe[1]);
        ::usleep(500 + random() % 6000);
        ::kill(child, SIGKILL);
        ::waitpid(child, nullptr, 0);
        for (int name = 0; ::read(pipe[0], &name, sizeof name) == sizeof name;)
            takenOver.insert(std::to_string(name) + std::string(5000, 'x'));
        ::close(pipe[0]);
    }
    EXPECT_GT(takenOver.size(), 200U);
    for (const std::string& text : textsIn(History::fileOf(folder, document)))
        takenOver.erase(text);
    EXPECT_TRUE(takenOver.empty()) << takenOver.size() << " are missing";
}

TEST_F(HistoryTest, WithoutAFolderNothingIsKept) {
    History history("");
    history.setDocument(document);
    EXPECT_TRUE(history.record("text"));
    history.noteDrew("text");
    fs::create_directories(folder.parent_path());
    std::ofstream(folder) << "a file in the way";
    EXPECT_EQ(History(folder).record("text").error().message.find("cannot write "), 0U);
}

TEST(LineDifference, LeadsFromOneTextToTheOtherWithFewChanges) {
    std::mt19937 random(7);
    const auto randomLines = [&](int count) {
        std::string text;
        for (int line = 0; line < count; ++line)
            text += std::string(1, static_cast<char>('a' + random() % 4)) + "\n";
        return text;
    };
    using Kind = DifferenceLine::Kind;
    for (int attempt = 0; attempt < 300; ++attempt) {
        const std::string from = randomLines(static_cast<int>(random() % 12));
        const std::string to = randomLines(static_cast<int>(random() % 12));
        std::string before;
        std::string after;
        for (const auto& [kind, text] : differenceOf(from, to)) {
            if (kind != Kind::Added)
                before += text + "\n";
            if (kind != Kind::Removed)
                after += text + "\n";
        }
        ASSERT_EQ(before, from);
        ASSERT_EQ(after, to);
    }
    EXPECT_EQ(differenceOf("a\nb\nc\na\nb\nb\na", "c\nb\na\nb\na\nc").size(), 9U)
        << "four lines are common to both";
    const std::string other = randomLines(3000);
    EXPECT_EQ(differenceOf("first\n" + other, "first\n" + std::string(6000, '\n')).size(), 9001U);
}

} // namespace
} // namespace starloom
