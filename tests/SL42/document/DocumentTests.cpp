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

TEST_F(DocumentTest, ATextThatNobodyCouldReadBackIsNotSaved) {
    folder.file("My show.sl42", "old");
    StarloomDocument document(surroundings(), "Long", std::string((16 << 20) + 1, ' '));
    const auto saved = document.write(path);
    ASSERT_FALSE(saved);
    EXPECT_EQ(saved.error().message, "it is too long for a program text");
    EXPECT_EQ(contentsOf(path), "old");
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
    EXPECT_EQ(linesEqual("Compiling video"), 0);
    EXPECT_TRUE(engine->openEditor());
    EXPECT_EQ(engine->liveCodeFile(), nullptr);
}

} // namespace
} // namespace starloom
