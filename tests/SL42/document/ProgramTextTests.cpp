// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What a change of the source sets off besides compiling, how the packed form is exported, and how
// a file is followed. No device is needed for any of this.
#include "SL42/document/ProgramText.h"

#include "LiveCoding/LiveCodingFile.h"
#include "SL42/document/Compression.h"
#include "tests/ScratchFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <optional>
#include <vector>

namespace starloom {
namespace {

using tests::contentsOf;

class ProgramTextTest : public testing::Test {
protected:
    void start(std::string source) {
        text = std::make_unique<ProgramText>(
            mainQueue, log, TextKeepers{}, "Test", std::move(source), false,
            ProgramText::Client{.edited = [this](std::string edited) { set(std::move(edited)); },
                                .savedAgain = [] {},
                                .ignoredWrite = [] {}});
    }
    void set(std::string source) {
        text->setSource(std::move(source), [this] { log.line("Compiling"); });
    }
    void settle() {
        while (mainQueue.pump() > 0) {
        }
    }
    std::ptrdiff_t lineOf(std::string_view start) const {
        return std::ranges::find_if(lines, [&](auto& line) { return line.starts_with(start); }) -
               lines.begin();
    }
    /// Replaces a file as an editor does, and waits until it has been read.
    void save(const std::string& path, std::string_view contents) {
        std::filesystem::rename(folder.file("aside", contents), path);
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (text->rawSrc() != contents && std::chrono::steady_clock::now() < end)
            mainQueue.waitAndRun(std::chrono::milliseconds(2));
        settle();
        EXPECT_EQ(text->rawSrc(), contents);
    }

    const tests::ScratchFolder folder;
    platform::MainQueue mainQueue;
    std::vector<std::string> lines;
    platform::Log log{[this](std::string_view line) { lines.emplace_back(line); }};
    std::unique_ptr<ProgramText> text;
};

TEST_F(ProgramTextTest, MeasuresAndPacksAfterCompiling) {
    start("void fx() {}");
    text->pack();
    settle();
    EXPECT_EQ(text->packedSize().get(), Packer::pack("void fx() {}")->size());
    EXPECT_EQ(lineOf("Packed with"), std::ssize(lines)); // no survey before the first change

    const std::string source = "void fx() {\n    cls(1); // caf\xC3\xA9\n}\n";
    set(source);
    EXPECT_EQ(text->compressed(), *Packer::pack("void fx() {cls(1); }"));
    EXPECT_LT(lineOf("Compiling"), lineOf("Packed with brotli, "));
    EXPECT_LT(lineOf("Packed with brotli, "), lineOf("Packed with zlib, "));
    EXPECT_NE(text->packedSize().get(), text->compressed().size());
    settle();
    EXPECT_EQ(text->packedSize().get(), text->compressed().size());
    EXPECT_EQ(text->size().get(), source.size() - 1); // characters
}

TEST_F(ProgramTextTest, ExportsThePackedForm) {
    start("void fx() {}");
    text->pack();
    std::string proposed;
    std::optional<std::filesystem::path> answer;
    const platform::SavePanel panel = [&](const std::string& name) {
        proposed = name;
        return answer;
    };
    text->savePacked(panel);
    EXPECT_EQ(proposed, "Test.packed.sl42");
    EXPECT_EQ(folder.names().size(), 0U);
    for (const char* name : {"show.sl42", "show"}) {
        answer = folder.path(name);
        text->savePacked(panel);
        EXPECT_EQ(folder.names(), std::vector<std::string>{"show.sl42"});
    }
    EXPECT_EQ(std::ranges::count(lines, "Writing to: " + folder.path("show.sl42")), 2);
    EXPECT_EQ(Unpacker::unpack(*platform::readWholeFile(folder.path("show.sl42"))).value(),
              "void fx() {}");
    answer = folder.path("none/show.sl42");
    text->savePacked(panel);
    EXPECT_TRUE(lines.back().starts_with("Error writing: ")) << lines.back();
}

TEST_F(ProgramTextTest, FollowsAFileThatIsSaved) {
    const std::string path = folder.file("show.metal", "void fx() {}\n");
    start("void fx() {}\n");
    ASSERT_TRUE(text->followFile(path, "void fx() {}\n"));
    save(path, "\n\n  void fx() { cls(1); }\n\t\n");
    EXPECT_EQ(text->source(), "void fx() { cls(1); }");
    lines.clear();
    save(path, "void fx() { cls(1); }\n"); // other white space is another text
    EXPECT_EQ(text->source(), "void fx() { cls(1); }");
    save(path, "void fx() { cls(1); }\n");
    EXPECT_FALSE(text->followFile(folder.path("none"), ""));
    save(path, "void fx() { cls(0); }"); // still followed
    EXPECT_EQ(std::ranges::count(lines, "Compiling"), 2) << "the same once more is nothing new";
}

TEST_F(ProgramTextTest, OpensTheUsersEditor) {
    start("void fx() {}\n");
    settle();
    ::setenv("XDG_RUNTIME_DIR", folder.path("").c_str(), 1);
    ::setenv("SL42_EDITOR", "true", 1);
    text->setReloadOnEveryWrite(true);
    ASSERT_TRUE(text->openEditor());
    EXPECT_TRUE(text->liveCodeFile()->reloadOnEveryWrite);
    text->setReloadOnEveryWrite(false);
    EXPECT_FALSE(text->liveCodeFile()->reloadOnEveryWrite);
    const std::string first = text->liveCodeFile()->url();
    EXPECT_EQ(contentsOf(first), "void fx() {}\n");
    save(first, "void fx() { cls(1); }");
    ASSERT_TRUE(text->openEditor());
    EXPECT_NE(text->liveCodeFile()->url(), first);
    EXPECT_EQ(contentsOf(text->liveCodeFile()->url()), "void fx() { cls(1); }");
    ::unsetenv("SL42_EDITOR");
    ::unsetenv("XDG_RUNTIME_DIR");
}

} // namespace
} // namespace starloom
