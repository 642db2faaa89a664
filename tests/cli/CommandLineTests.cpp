// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The command line as a whole, `prelude` and `compile`: exit status, what goes to which stream.
#include "tests/cli/RunStarloom.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <regex>
#include <set>
#include <string>

namespace cli::tests {
namespace {

constexpr const char* picture = "void fx() {\n    cls(float3(coords / resolution, 0));\n}\n";

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
        SCOPED_TRACE(testing::PrintToString(arguments));
        const Outcome run = runStarloom(arguments);
        EXPECT_EQ(run.status, 2);
        EXPECT_EQ(run.out, "");
        EXPECT_NE(run.err, "");
    }
}

TEST(CommandLine, HelpAndVersionAreData) {
    const Outcome help = runStarloom({"--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_EQ(help.err, "");
    const Outcome version = runStarloom({"--version"});
    EXPECT_EQ(version.status, 0);
    EXPECT_TRUE(version.out.starts_with("Starloom 42 ")) << version.out;
    for (const auto& arguments : {std::vector<std::string>{"--version", "--verbose"},
                                  std::vector<std::string>{"--verbose", "--version"}}) {
        const Outcome verbose = runStarloom(arguments);
        EXPECT_TRUE(verbose.out.starts_with(version.out + "sandbox: ")) << verbose.out;
        EXPECT_NE(verbose.out.find(" attempts denied; namespaces "), std::string::npos);
        EXPECT_EQ(verbose.out.find("NOT"), std::string::npos) << verbose.out;
    }
}

TEST(CommandLine, UnreadableProgramsGiveOneLine) {
    const ScratchFolder scratch;
    const std::string latin1 = scratch.file("latin1.metal", "// gr\xfc\xdf dich\n");
    const std::string kept = scratch.file("kept.sl42", "kept");
    const std::pair<std::string, const char*> rows[] = {
        {scratch.path("none.metal"), "No such file or directory"},
        {scratch.path(""), ""},
        {latin1, "UTF-8"}};
    for (const auto& [file, reason] : rows) {
        for (const std::vector<std::string>& arguments :
             {std::vector<std::string>{"compile", file},
              {"render", file, "-o", scratch.path("out.png")},
              {"pack", file, "-o", kept},
              {"bench", file}}) {
            const Outcome run = runStarloom(arguments);
            EXPECT_EQ(run.status, 1) << file;
            EXPECT_EQ(run.out, "");
            EXPECT_TRUE(isOneLine(run.err)) << run.err;
            EXPECT_NE(run.err.find(file), std::string::npos) << run.err;
            EXPECT_NE(run.err.find(reason), std::string::npos) << run.err;
        }
    }
    EXPECT_EQ(scratch.names(), (std::vector<std::string>{"kept.sl42", "latin1.metal"}));
    EXPECT_EQ(contentsOf(kept), "kept");
    EXPECT_TRUE(isOneLine(runStarloom({"compile", "-"}, "\xff").err));
}

TEST(CommandLine, AFailureSaysWhyAndWritesNothing) {
    const std::string broken = "void fx() { nonsense; }", song = "float2 sfx() { return 0.1; }",
                      endless = std::string(picture) + "\nint4 music = {0, 4, 8, 1};";
    struct Row {
        std::string command;
        std::string file;
        std::string text;
        const char* message;
    };
    const Row rows[] = {
        {"render", "out.png", broken, "standard input:1:13: error: "},
        {"render", "out.gif", picture, ".png or .exr"},
        {"render", "%s.png", picture, "%s.png"},
        {"render", "none/out.png", picture, "cannot write"},
        {"render", "out.png", "void cpu() { poke8(1, -2000000000); }\nvoid fx() {}",
         "line 1: wrote outside of memory\n"},
        {"song", "song.mp3", song, "songs are written as .m4a or .wav"},
        {"song", "none/song.wav", song, "No such file or directory"},
        {"song", "song.wav", picture, "standard input has no sfx() and so no song"},
        {"song", "song.wav", "float2 sfx() { return nonsense; }", "'nonsense'"},
        {"video", "movie.avi", picture, "videos are written as .mp4"},
        {"video", "none/movie.mp4", picture, "No such file or directory"},
        {"pack", "none/show.sl42", picture, "No such file or directory"},
        {"bench", "", broken, "'nonsense'"},
        {"render", "out.png", endless,
         "standard input:5: A beat of the song has no finite length\n"},
        {"song", "song.wav", endless,
         "standard input:5: A beat of the song has no finite length\n"},
        {"bench", "", endless, "standard input:5: A beat of the song has no finite length\n"},
    };
    const ScratchFolder scratch, overlays;
    const auto fails = [&](const Row& row, const std::vector<std::string>& more = {}) {
        std::vector<std::string> arguments{row.command, "-"};
        if (!row.file.empty())
            arguments.insert(arguments.end(), {"-o", scratch.path(row.file)});
        arguments.insert(arguments.end(), more.begin(), more.end());
        SCOPED_TRACE(testing::PrintToString(arguments));
        const Outcome run = runStarloom(arguments, row.text);
        EXPECT_EQ(run.status, 1);
        EXPECT_EQ(run.out, "");
        EXPECT_NE(run.err.find(row.message), std::string::npos) << run.err;
        EXPECT_TRUE(row.text != picture || isOneLine(run.err)) << run.err;
        EXPECT_TRUE(scratch.names().empty());
    };
    for (const Row& row : rows)
        fails(row);
    for (const char* size : {"641x480", "640", "640x", "0x0", "640x480x2", "99999x64"})
        fails({"video", "a.mp4", picture, "sizes are written as 1920x1080"}, {"--size", size});
    for (const std::string& overlay :
         {overlays.path("missing.png"), overlays.file("no.png", "this is no picture")})
        fails({"render", "out.png", picture, overlay.c_str()}, {"--overlay", overlay});
    fails({"render", "out.png", "void fx() { while (time < 1) cls(float3(time)); }",
           "line 1: still in this loop after 0.3 s\n"},
          {"--time-limit", "0.3"});
}

TEST(Prelude, IsTheTextInFrontOfThePrograms) {
    const Outcome prelude = runStarloom({"prelude"});
    ASSERT_EQ(prelude.status, 0);
    EXPECT_EQ(prelude.err, "");
    EXPECT_TRUE(prelude.out.ends_with('\n'));

    // A fault in the first line of a program is reported on the line after the prelude.
    const auto lines = std::count(prelude.out.begin(), prelude.out.end(), '\n');
    const Outcome compile = runStarloom({"compile", "--log", "-"}, "nonsense fx() {}\n");
    EXPECT_NE(compile.out.find("program_source:" + std::to_string(lines + 1) + ":1: error:"),
              std::string::npos)
        << compile.out;
    // And the prelude with the end of its class is itself a whole text.
    const Outcome plain = runStarloom({"compile", "--plain", "-"}, prelude.out + "int4 music;};\n");
    EXPECT_EQ(plain.status, 0) << plain.out;
}

TEST(Compile, PrintsTheLogAndTellsFailureByItsStatus) {
    for (const auto& [text, log] : {std::pair{"void fx() {} // end", "Compiling video...\nDone.\n"},
                                    {"", "No fx() or sfx() found\n"},
                                    {"int spare;\n", "warning: nothing to run: "}}) {
        const Outcome run = runStarloom({"compile", "--log", "-"}, text);
        EXPECT_EQ(run.status, 0) << text;
        EXPECT_TRUE(run.out.starts_with(log)) << run.out;
        EXPECT_EQ(run.err, "") << text;
    }
    EXPECT_EQ(runStarloom({"compile", "-"}, picture).out, "");
    const Outcome run = runStarloom({"compile", "--log", "-"}, "void fx() { nonsense; }");
    EXPECT_EQ(run.status, 1);
    EXPECT_TRUE(run.out.starts_with("Compiling video...\nCompilation failed:\nprogram_source:"))
        << run.out;
    EXPECT_NE(run.out.find("'nonsense'"), std::string::npos) << run.out;
    EXPECT_EQ(run.err, "");
}

// Each mistake once, where an editor finds it.
TEST(Compile, NamesTheLinesOfTheFile) {
    const ScratchFolder scratch;
    const std::string file = scratch.file("show.metal", "\n\nvoid fx() {\n    cls(nonsense);\n}\n"
                                                        "float2 sfx() { return 0; }\n");
    const Outcome run = runStarloom({"compile", file});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.out, file + ":4:9: error: use of undeclared identifier 'nonsense'\n"
                              "    4 |     cls(nonsense);\n"
                              "      |         ^\n");
    const Outcome misused = runStarloom({"compile", "-"}, "void cpu() { poke32(float2(1), 0); }");
    EXPECT_TRUE(misused.out.starts_with(
        "standard input:1:14: error: 'poke32' is for values of 4 bytes, and a 'float2' has 8; "
        "write poke64\n    1 | "))
        << misused.out;
    const Outcome deep = runStarloom({"compile", "-"}, "void fx() { rect(int4(0), \"wide\"); }");
    EXPECT_TRUE(deep.out.starts_with("standard input:1:33: error: ")) << deep.out;
    EXPECT_EQ(deep.out.find("program_source"), std::string::npos) << deep.out;
    // A song that cannot be, and a stage that cannot run, are told in the same way.
    const Outcome song =
        runStarloom({"compile", "-"}, "int4 music = {120, 0, 4, 4};\nvoid fx() {}");
    EXPECT_TRUE(song.out.starts_with("standard input:1:1: error: ")) << song.out << song.err;
    EXPECT_EQ(song.status, 1);
}

TEST(Compile, PlainTakesAnyTextOfTheLanguage) {
    const char* kernel = "#include <metal_stdlib>\nusing namespace metal;\n"
                         "kernel void twice(device float* v [[buffer(0)]],\n"
                         "                  uint i [[thread_position_in_grid]]) { v[i] *= 2; }\n";
    const Outcome good = runStarloom({"compile", "--plain", "-"}, kernel);
    EXPECT_EQ(good.status, 0) << good.out;
    EXPECT_EQ(good.out + good.err, "");
}

/// The long options in a text, each as `pattern` finds it in its first group.
std::set<std::string> optionsIn(const std::string& text, const char* pattern) {
    const std::regex option(pattern);
    std::set<std::string> options;
    for (std::sregex_iterator match(text.begin(), text.end(), option), end; match != end; ++match)
        options.insert((*match)[1]);
    return options;
}

/// The part of a page below a heading.
std::string sectionOf(const std::string& page, const std::string& heading) {
    const auto begin = page.find(heading + "\n");
    return begin == page.npos ? "" : page.substr(begin, page.find("\n## ", begin + 1) - begin);
}

TEST(CommandLine, ThePageKnowsEveryCommandAndOption) {
    const std::string page = contentsOf(sourceFolder() / "docs/command-line.md");
    const std::string help = runStarloom({"--help"}).out;
    const std::string commands = help.substr(help.find("Subcommands:"));
    const std::regex command(R"(\n  (\w+))");
    std::size_t count = 0;
    for (std::sregex_iterator match(commands.begin(), commands.end(), command), end; match != end;
         ++match, ++count) {
        const std::string name = (*match)[1];
        SCOPED_TRACE(name);
        const std::string section = sectionOf(page, "## starloom " + name);
        auto options = optionsIn(runStarloom({name, "--help"}).out, R"(\n  (?:-\w,)?--([\w-]+))");
        EXPECT_EQ(options.erase("help"), 1U);
        EXPECT_EQ(optionsIn(section, R"(`--([\w-]+))"), options);
    }
    EXPECT_GT(count, 5U);
}

} // namespace
} // namespace cli::tests
