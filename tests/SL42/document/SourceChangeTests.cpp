// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What a change of the source sets off besides compiling, how the packed form is exported, and how
// the engine follows a file.
#include "LiveCoding/LiveCodingFile.h"
#include "SL42/document/Compression.h"
#include "SL42/document/Journal.h"
#include "SL42/document/Minifier.h"
#include "SL42/document/StarloomDocument.h"
#include "tests/SL42/ConsoleFixture.h"
#include "tests/ScratchFolder.h"

#include <algorithm>
#include <cstdlib>

namespace starloom {
namespace {

using tests::contentsOf;

class SourceChangeTest : public ConsoleTest {
protected:
    std::ptrdiff_t lineOf(std::string_view start) const {
        return std::ranges::find_if(lines, [&](auto& line) { return line.starts_with(start); }) -
               lines.begin();
    }
    /// Replaces a file as an editor does, and waits until the engine has read it.
    void save(const std::string& path, std::string_view text) {
        std::filesystem::rename(folder.file("aside", text), path);
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (engine->rawSrc() != text && std::chrono::steady_clock::now() < end)
            mainQueue.waitAndRun(std::chrono::milliseconds(2));
        settle();
        EXPECT_EQ(engine->rawSrc(), text);
    }

    const tests::ScratchFolder folder;
};

TEST_F(SourceChangeTest, MeasuresAndPacksAfterCompiling) {
    start("void fx() {}");
    EXPECT_EQ(engine->packedSize().get(), Packer::pack("void fx() {}")->size());
    EXPECT_EQ(lineOf("Packed with"), std::ssize(lines)); // no survey before the first change

    const std::string source = "void fx() {\n    cls(1); // caf\xC3\xA9\n}\n";
    engine->setSource(source);
    EXPECT_EQ(engine->compressed(), *Packer::pack("void fx() {cls(1); }"));
    EXPECT_LT(lineOf("Compiling video"), lineOf("Packed with brotli, "));
    EXPECT_LT(lineOf("Packed with brotli, "), lineOf("Packed with zlib, "));
    EXPECT_NE(engine->packedSize().get(), engine->compressed().size());
    settle();
    EXPECT_EQ(engine->packedSize().get(), engine->compressed().size());
    EXPECT_EQ(engine->size().get(), source.size() - 1); // characters
}

TEST_F(SourceChangeTest, IsJournalledWithoutTheHelpOfTheDevice) {
    Journal journal(folder.path("journal"));
    Surroundings journalled = surroundings();
    journalled.journal = &journal;
    engine = std::make_unique<SL42>(journalled, "Test", allThree, false);
    EXPECT_FALSE(std::filesystem::exists(folder.path("journal"))); // nothing has changed yet
    engine->setSource("broken");
    const auto name = tests::namesIn(folder.path("journal")).at(0);
    EXPECT_TRUE(contentsOf(folder.path("journal/" + name)).ends_with("broken"));
}

TEST_F(SourceChangeTest, OnlyWholeProgramsThatDrewAreGood) {
    Journal journal(folder.path("journal"));
    Surroundings journalled = surroundings();
    journalled.journal = &journal;
    engine = std::make_unique<SL42>(journalled, "Test", "", false);
    const auto goodAfter = [&](const std::string& source) {
        engine->setSource(source);
        settle();
        drawFrame();
        return Journal::read(journal.file()).value_or(JournalEntry{}).good;
    };
    const std::string whole = "void cpu() {}\nvoid fx() {}";
    EXPECT_EQ(goodAfter(whole), whole);
    device->brokenKernels = {"video"};
    EXPECT_EQ(goodAfter("void cpu() { }\nvoid fx() { }"), whole);
}

TEST_F(SourceChangeTest, ExportsThePackedForm) {
    start("void fx() {}");
    std::string proposed;
    std::optional<std::filesystem::path> answer;
    const SavePanel panel = [&](const std::string& name) {
        proposed = name;
        return answer;
    };
    engine->savePacked(panel);
    EXPECT_EQ(proposed, "Test.packed.sl42");
    EXPECT_EQ(folder.names().size(), 0U);
    for (const char* name : {"show.sl42", "show"}) {
        answer = folder.path(name);
        engine->savePacked(panel);
        EXPECT_EQ(folder.names(), std::vector<std::string>{"show.sl42"});
    }
    EXPECT_EQ(linesEqual("Writing to: " + folder.path("show.sl42")), 2);
    EXPECT_EQ(Unpacker::unpack(*platform::readWholeFile(folder.path("show.sl42"))).value(),
              "void fx() {}");

    answer = "show.sl42";
    engine->savePacked(panel);
    EXPECT_EQ(lines.back(), "Unable to get filetype");
    engine->writeFile("show", folder.path("none"), documentType);
    EXPECT_TRUE(lines.back().starts_with("Error writing: ")) << lines.back();
    engine->writeFile("show", folder.path(""), "public.data");
    EXPECT_EQ(lines.back(), "Weird, the type won't load or there's no extension?");
}

TEST_F(SourceChangeTest, APreviewDoesNothing) {
    start(allThree, true);
    device->sources.clear();
    engine->setSource("void fx() { cls(); }");
    drawFrame();
    EXPECT_TRUE(device->sources.empty());
    EXPECT_TRUE(device->commandBuffers.empty());
    EXPECT_EQ(engine->error().get(), "");
    EXPECT_EQ(engine->compressed().size(), 0U);
    EXPECT_EQ(engine->packedSize().get(), 0U);
    engine->savePacked([](const auto&) -> std::optional<std::filesystem::path> {
        ADD_FAILURE() << "asks for a name";
        return std::nullopt;
    });
    EXPECT_TRUE(engine->openEditor());
    EXPECT_EQ(engine->liveCodeFile(), nullptr);
}

TEST_F(SourceChangeTest, FollowsAFileThatIsSaved) {
    const std::string path = folder.file("show.metal", "void fx() {}\n");
    start("void fx() {}\n");
    ASSERT_TRUE(engine->followFile(path));
    save(path, "\n\n  void fx() { cls(1); }\n\t\n");
    EXPECT_EQ(engine->source(), "void fx() { cls(1); }");
    lines.clear();
    save(path, "void fx() { cls(1); }\n"); // other white space is another text
    EXPECT_EQ(engine->source(), "void fx() { cls(1); }");
    save(path, "void fx() { cls(1); }\n");
    serveUntil([n = 0]() mutable { return ++n > 20; }); // for longer than events take
    EXPECT_EQ(linesEqual("Compiling video"), 1) << "the same once more is nothing new";
    EXPECT_FALSE(engine->followFile(folder.path("none")));
    save(path, "void fx() { cls(0); }"); // still followed

    std::filesystem::rename(folder.file("aside", "too late"), path);
    engine.reset();
    mainQueue.waitAndRun(std::chrono::milliseconds(100));
}

TEST_F(SourceChangeTest, OpensTheUsersEditor) {
    start("void fx() {}\n");
    settle();
    ::setenv("XDG_RUNTIME_DIR", folder.path("").c_str(), 1);
    ::setenv("SL42_EDITOR", "/no/such/editor", 1);
    EXPECT_FALSE(engine->openEditor());
    EXPECT_EQ(engine->liveCodeFile(), nullptr);
    ::setenv("SL42_EDITOR", "true", 1);
    engine->setReloadOnEveryWrite(true);
    ASSERT_TRUE(engine->openEditor());
    ASSERT_NE(engine->liveCodeFile(), nullptr);
    EXPECT_TRUE(engine->liveCodeFile()->reloadOnEveryWrite);
    engine->setReloadOnEveryWrite(false);
    EXPECT_FALSE(engine->liveCodeFile()->reloadOnEveryWrite);
    const std::string first = engine->liveCodeFile()->url();
    EXPECT_TRUE(std::filesystem::path(first).filename().string().starts_with("Test_")) << first;
    EXPECT_EQ(contentsOf(first), "void fx() {}\n");
    save(first, "void fx() { cls(1); }");
    ASSERT_TRUE(engine->openEditor());
    EXPECT_NE(engine->liveCodeFile()->url(), first);
    EXPECT_EQ(contentsOf(engine->liveCodeFile()->url()), "void fx() { cls(1); }");
    ::unsetenv("SL42_EDITOR");
    ::unsetenv("XDG_RUNTIME_DIR");
}

} // namespace
} // namespace starloom
