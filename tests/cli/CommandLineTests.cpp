// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The command line as a whole, `prelude` and `compile`: exit status, what goes to which stream.
#include "tests/cli/RunStarloom.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace cli::tests {
namespace {

constexpr const char* picture = "void fx() {\n    cls(float3(coords / resolution, 0));\n}\n";
constexpr const char* broken = "void fx() {\n    cls(nonsense);\n}\n";

bool isOneLine(const std::string& text) {
    return !text.empty() && text.find('\n') == text.size() - 1;
}

TEST(CommandLine, UsageErrorsAreToldApartFromFailures) {
    const std::vector<std::vector<std::string>> wrong{
        {},
        {"fly"},
        {"compile"},
        {"render", "x.metal"},
        {"render", "x.metal", "-o", "x.png", "--frames", "0"},
        {"render", "x.metal", "-o", "x.png", "--fps", "0"},
        {"prelude", "--device", "abacus"},
        {"bench", "x.metal", "--frames", "many"},
    };
    for (const auto& arguments : wrong) {
        const Outcome run = runStarloom(arguments);
        EXPECT_EQ(run.status, 2) << testing::PrintToString(arguments);
        EXPECT_EQ(run.out, "") << testing::PrintToString(arguments);
        EXPECT_NE(run.err, "") << testing::PrintToString(arguments);
    }
}

TEST(CommandLine, HelpAndVersionAreData) {
    const Outcome help = runStarloom({"--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_EQ(help.err, "");
    for (const char* command : {"render", "compile", "prelude", "bench"}) {
        EXPECT_NE(help.out.find(command), std::string::npos) << command;
        EXPECT_EQ(runStarloom({command, "--help"}).status, 0) << command;
    }
    const Outcome version = runStarloom({"--version"});
    EXPECT_EQ(version.status, 0);
    EXPECT_TRUE(version.out.starts_with("Starloom 42 ")) << version.out;
}

TEST(CommandLine, UnreadableProgramsGiveOneLine) {
    const ScratchFolder scratch;
    const std::string latin1 = scratch.file("latin1.metal", "// gr\xfc\xdf dich\n");
    struct Row {
        std::string file;
        const char* reason;
    };
    for (const Row& row : {Row{scratch.path("none.metal"), "No such file or directory"},
                           Row{scratch.path(""), ""}, Row{latin1, "UTF-8"}}) {
        for (const std::vector<std::string>& arguments :
             {std::vector<std::string>{"compile", row.file},
              {"render", row.file, "-o", scratch.path("out.png")},
              {"bench", row.file}}) {
            const Outcome run = runStarloom(arguments);
            EXPECT_EQ(run.status, 1) << row.file;
            EXPECT_EQ(run.out, "");
            EXPECT_TRUE(isOneLine(run.err)) << run.err;
            EXPECT_NE(run.err.find(row.file), std::string::npos) << run.err;
            EXPECT_NE(run.err.find(row.reason), std::string::npos) << run.err;
        }
    }
    EXPECT_EQ(scratch.names(), std::vector<std::string>{"latin1.metal"});
    EXPECT_TRUE(isOneLine(runStarloom({"compile", "-"}, "\xff").err));
}

TEST(Prelude, IsTheTextInFrontOfThePrograms) {
    const Outcome prelude = runStarloom({"prelude"});
    ASSERT_EQ(prelude.status, 0);
    EXPECT_EQ(prelude.err, "");
    EXPECT_TRUE(prelude.out.ends_with('\n'));

    // A fault in the first line of a program is reported on the line after the prelude.
    const auto lines = std::count(prelude.out.begin(), prelude.out.end(), '\n');
    const Outcome compile = runStarloom({"compile", "-"}, "nonsense fx() {}\n");
    EXPECT_NE(compile.out.find("program_source:" + std::to_string(lines + 1) + ":1: error:"),
              std::string::npos)
        << compile.out;
    // And the prelude with the end of its class is itself a whole text.
    const Outcome plain = runStarloom({"compile", "--plain", "-"}, prelude.out + "int4 music;};\n");
    EXPECT_EQ(plain.status, 0) << plain.out;
}

TEST(Compile, PrintsTheLogAndTellsFailureByItsStatus) {
    struct Row {
        const char* what;
        std::string text;
        int status;
        std::string log;
    };
    const std::string sound = "float2 sfx() {\n    return sin(time * 440);\n}\n";
    const Row rows[] = {
        {"a picture", picture, 0, "Compiling video...\nDone.\n"},
        {"everything", std::string(picture) + "void cpu() {\n}\n" + sound, 0,
         "Compiling CPU...\nDone.\nCompiling video...\nDone.\nCompiling audio...\nDone.\n"},
        {"nothing", "", 0, "No fx() or sfx() found\n"},
        {"no entry function", "int spare;\n", 0, ""},
    };
    for (const Row& row : rows) {
        const Outcome run = runStarloom({"compile", "-"}, row.text);
        EXPECT_EQ(run.status, row.status) << row.what;
        EXPECT_EQ(run.out, row.log) << row.what;
        EXPECT_EQ(run.err, "") << row.what;
    }
    const Outcome run = runStarloom({"compile", "-"}, broken);
    EXPECT_EQ(run.status, 1);
    EXPECT_TRUE(run.out.starts_with("Compiling video...\nCompilation failed:\nprogram_source:"))
        << run.out;
    EXPECT_NE(run.out.find("'nonsense'"), std::string::npos) << run.out;
    EXPECT_EQ(run.err, "");
}

TEST(Compile, PlainTakesAnyTextOfTheLanguage) {
    const char* kernel = "#include <metal_stdlib>\nusing namespace metal;\n"
                         "kernel void twice(device float* v [[buffer(0)]],\n"
                         "                  uint i [[thread_position_in_grid]]) { v[i] *= 2; }\n";
    const Outcome good = runStarloom({"compile", "--plain", "-"}, kernel);
    EXPECT_EQ(good.status, 0) << good.out;
    EXPECT_EQ(good.out, "");
    EXPECT_EQ(good.err, "");

    // Without the console around it, a program's functions are unknown.
    const Outcome bad = runStarloom({"compile", "--plain", "-"}, picture);
    EXPECT_EQ(bad.status, 1);
    EXPECT_NE(bad.out.find("program_source:2:16: error:"), std::string::npos) << bad.out;
}

} // namespace
} // namespace cli::tests
