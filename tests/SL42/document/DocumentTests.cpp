// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Documents on disk, and the engine that belongs to one.
#include "SL42/console/StarloomDocument.h"

#include "SL42/document/Compression.h"
#include "SL42/document/Journal.h"
#include "tests/SL42/ConsoleFixture.h"
#include "tests/ScratchFolder.h"

namespace starloom {
namespace {

using tests::contentsOf;

class DocumentTest : public ConsoleTest {
protected:
    const tests::ScratchFolder folder;
    const std::string path = folder.path("My show.sl42");
};

TEST_F(DocumentTest, ANewOneHoldsTheExample) {
    StarloomDocument document(surroundings());
    EXPECT_EQ(document.title(), "Untitled");
    EXPECT_EQ(document.source(), defaultSource);
    EXPECT_EQ(linesEqual("Init sl42: Untitled"), 0); // not before somebody asks for it
    EXPECT_EQ(document.sl42().source(), defaultSource);
    EXPECT_EQ(&document.sl42(), &document.sl42());
    EXPECT_EQ(linesEqual("Init sl42: Untitled"), 1);
}

TEST_F(DocumentTest, StoresWhatTheEngineRuns) {
    const std::string edited = "  // indented\n\tvoid fx() {}\n\n";
    StarloomDocument document(surroundings());
    document.sl42().setSource(edited);
    ASSERT_TRUE(document.write(path));
    const auto stored = *document.fileWrapper();
    EXPECT_EQ(contentsOf(path),
              std::string(reinterpret_cast<const char*>(stored.data()), stored.size()));
    const auto reopened = StarloomDocument::open(path, surroundings());
    ASSERT_TRUE(reopened);
    EXPECT_EQ((*reopened)->source(), edited);
    EXPECT_EQ((*reopened)->title(), "My show");
    EXPECT_EQ((*reopened)->sl42().title(), "My show");
}

TEST_F(DocumentTest, ATextThatNobodyCouldReadBackIsNotSaved) {
    folder.file("My show.sl42", "old");
    StarloomDocument document(surroundings(), "Long", std::string((16 << 20) + 1, ' '));
    const auto saved = document.write(path);
    ASSERT_FALSE(saved);
    EXPECT_EQ(saved.error().message, "it is too long for a program text");
    EXPECT_EQ(contentsOf(path), "old");
}

TEST_F(DocumentTest, WhatCannotBeReadSaysWhy) {
    const auto open = [&](const std::string& file) {
        return StarloomDocument::open(file, surroundings()).error().message;
    };
    EXPECT_EQ(open(path), path + ": No such file or directory");
    EXPECT_EQ(open(folder.path("")), folder.path("") + ": Not a file");
}

TEST_F(DocumentTest, SavingLeavesNothingToRecover) {
    Journal journal(folder.path("journal"));
    Surroundings journalled = surroundings();
    journalled.keepers.journal = &journal;
    StarloomDocument document(journalled);
    document.sl42().setSource("void fx() {}");
    const auto isSaved = [&] {
        const auto entry = Journal::read(journal.file());
        return entry && entry->saved;
    };
    EXPECT_FALSE(isSaved());
    ASSERT_TRUE(document.write(path));
    EXPECT_TRUE(isSaved());
    EXPECT_EQ(journal.document, path);
}

TEST_F(DocumentTest, APreviewCompilesAndDrawsNothing) {
    start(allThree, true);
    device->sources.clear();
    engine->setSource("void fx() { cls(); }");
    drawFrame();
    EXPECT_TRUE(device->sources.empty());
    EXPECT_TRUE(device->commandBuffers.empty());
    EXPECT_EQ(engine->error().get(), "");
}

} // namespace
} // namespace starloom
