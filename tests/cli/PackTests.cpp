// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Documents on the command line: `pack`, `unpack`, and documents where program text is expected.
#include "tests/cli/RunStarloom.h"

#include <gtest/gtest.h>

#include <csignal>

namespace cli::tests {
namespace {

constexpr const char* program =
    "// a comment\n#define X 1\n\tvoid fx() { // draws\n    cls(X);\n}\n";
constexpr const char* minified = "#define X 1\nvoid fx() { cls(X);}";
constexpr const char* noDocument = "Fatal error: Error occurred during decoding: ";

TEST(Pack, TextComesBackAsItWas) {
    const ScratchFolder scratch;
    const std::string text = scratch.file("show.metal", program);
    const std::string document = scratch.path("show.sl42");
    const std::string again = scratch.path("again.metal");
    for (const std::string& input : {text, std::string("-")}) {
        ASSERT_EQ(runStarloom({"pack", input, "-o", document}, program).err, "");
        EXPECT_EQ(runStarloom({"unpack", document}).out, program);
    }
    EXPECT_EQ(runStarloom({"unpack", document, "-o", again}).out, "");
    EXPECT_EQ(contentsOf(again), program);
    EXPECT_EQ(runStarloom({"unpack", "-"}, contentsOf(document)).out, program);
    // The packed form, of a document this time.
    const std::string packed = scratch.path("show.packed.sl42");
    ASSERT_EQ(runStarloom({"pack", document, "-o", packed, "--minify"}).status, 0);
    EXPECT_EQ(runStarloom({"unpack", packed}).out, minified);
}

TEST(Pack, DocumentsAreProgramsUnderAnyName) {
    const ScratchFolder scratch;
    const std::string document = scratch.path("show.sl42");
    const std::string program100 = "// " + std::string(100, '-') + "\nvoid fx() { cls(1); }\n";
    ASSERT_EQ(runStarloom({"pack", "-", "-o", document}, program100).status, 0);
    const std::string bytes = contentsOf(document);
    const std::string expected = runStarloom({"compile", "--log", document}).out;
    EXPECT_NE(expected.find("Done."), std::string::npos) << expected;
    EXPECT_EQ(runStarloom({"compile", "--log", scratch.file("show", bytes)}).out, expected);
    EXPECT_EQ(runStarloom({"compile", "--log", "-"}, bytes).out, expected);
}

TEST(Pack, WhatIsNoDocumentStopsTheProgram) {
    const ScratchFolder scratch;
    const std::string text = scratch.file("text.sl42", "void fx() {}\n");
    const std::string empty = scratch.file("empty.sl42", "");
    for (const std::string& file : {text, empty})
        for (const char* command : {"unpack", "compile"}) {
            const Outcome run = runStarloom({command, file});
            EXPECT_EQ(run.status, -SIGABRT) << file;
            const char* reason = file == text ? "this is not compressed text.\n"
                                              : "the compressed text ends early.\n";
            EXPECT_EQ(run.err, std::string(noDocument) + reason);
        }
    const Outcome none = runStarloom({"unpack", scratch.path("none.sl42")});
    EXPECT_EQ(none.status, 1);
    EXPECT_NE(none.err.find("No such file"), std::string::npos) << none.err;
}

} // namespace
} // namespace cli::tests
