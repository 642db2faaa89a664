// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What a window's process begins with: how it was called, and what another one has left to it.
#include "SL42/document/Compression.h"
#include "app/console/StartOptions.h"
#include "app/console/Succession.h"
#include "tests/ScratchFolder.h"

#include <gtest/gtest.h>

namespace app {
namespace {

platform::Result<DocumentOrigin> originFor(QStringList arguments) {
    arguments.prepend(programName);
    return SL42_TRY(StartOptions::parse(arguments)).readOrigin();
}

} // namespace

TEST(StartOptions, SayWhatToBeginWith) {
    const tests::ScratchFolder folder;
    EXPECT_EQ(originFor({}).value().source, starloom::defaultSource);
    const std::string file = folder.file("a show.metal", "text");
    const DocumentOrigin opened = originFor({"--", QString::fromStdString(file)}).value();
    EXPECT_EQ(opened.title + "|" + opened.source + "|" + opened.file.string(),
              "a show|text|" + file);
    const auto packed = starloom::Packer::pack("packed").value();
    const std::string document = folder.path("b.sl42");
    ASSERT_TRUE(platform::writeWholeFile(document, packed));
    EXPECT_EQ(originFor({QString::fromStdString(document)}).value().source, "packed");
    std::filesystem::remove(document);
    const DocumentOrigin taken =
        originFor({"--text", QString::fromStdString(file), "--title", "Rings"}).value();
    EXPECT_EQ(taken.title + "|" + taken.source + "|" + taken.file.string(), "Rings|text|");
    EXPECT_TRUE(folder.names().empty()) << "it was left for us alone";
    for (const QStringList& wrong : {QStringList{"a", "b"}, {"--fly"}, {"--recover", "/none"}})
        EXPECT_FALSE(originFor(wrong)) << wrong.join(' ').toStdString();
}

TEST(Succession, RunsOnlyWhatNobodyMayHaveDiedOf) {
    struct Row {
        const char* label;
        std::optional<std::string> good;
        const char* newest;
        int deaths;
        const char* followed; ///< what the file holds; null where there is none
        std::string runs;
        const char* offers;
        bool isSaved;
    };
    const std::string initial(starloom::defaultSource);
    const Row rows[] = {{"the text that drew", "good", "good", 1, nullptr, "good", "", false},
                        {"the same, once more", "good", "good", 2, nullptr, initial, "good", false},
                        {"a newer one", "good", "new", 1, nullptr, "good", "new", false},
                        {"a newer one, again", "good", "new", 3, nullptr, "good", "new", false},
                        {"none that drew", std::nullopt, "new", 1, nullptr, initial, "new", false},
                        {"saved meanwhile", "good", "new", 1, " saved\n", "good", "saved", true},
                        {"the file as it was", "good", "new", 1, "new\n", "good", "new", false}};
    const tests::ScratchFolder folder;
    for (const Row& row : rows) {
        starloom::Journal journal(folder.path("journal"));
        ASSERT_TRUE(journal.record("Show", row.newest));
        if (row.good)
            ASSERT_TRUE(journal.recordGood("Show", *row.good));
        Bequest left;
        left.journal = journal.file();
        if (row.followed)
            left.followed = folder.file("show.metal", row.followed);
        const auto bequest = Bequest::decode(left.encode());
        ASSERT_TRUE(bequest);
        const auto origin = inheritedOrigin(*bequest, row.deaths);
        ASSERT_TRUE(origin) << row.label;
        EXPECT_EQ(origin->source, row.runs) << row.label;
        EXPECT_EQ(origin->offered, row.offers) << row.label;
        EXPECT_EQ(origin->recovered->saved, row.isSaved) << row.label;
        EXPECT_EQ(origin->followed, left.followed) << row.label;
    }
    EXPECT_FALSE(Bequest::decode("no bequest"));
    Bequest lost;
    lost.journal = folder.path("none");
    EXPECT_FALSE(inheritedOrigin(lost, 1));
}

} // namespace app
