// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/builder/EntrySpelling.h"
#include "SL42/builder/Preprocessor.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace starloom {
namespace {

PreprocessedSource scan(std::string_view source) {
    platform::Log quiet(platform::printNothing);
    return preprocessSource(source, quiet, [](const AudioSpec&) {});
}

const std::string noMusic = " \n int4 music = {120,4,4,4};";
const std::string noCPU = "\nvoid cpu() {\n}";
const std::string noVideo = "\nvoid fx() {\n}";
const std::string noAudio = "\nfloat2 sfx() {\n return 0;\n}";

} // namespace

TEST(Preprocessor, KnowsWhatMayDrawText) {
    for (const char* source : {"void fx() { print(a, 1, 0, 1); }", "getChar('a', p, Bold, 0)",
                               "\n\nfontTexture.sample(s, p)", "#define C(a, b) a##b\nC(pr, int)()",
                               "void fx() { pri\\\nnt(a, 1, 0, 1); }"})
        EXPECT_TRUE(scan(source).mayDrawText) << source;
    EXPECT_FALSE(scan("void fx() {\n#define a 1\ncirc(0, 1, 1); }\n").mayDrawText);
}

TEST(Preprocessor, FindsMusic) {
    const AudioSpec spec{90, 3, 8, 2};
    const std::pair<const char*, std::optional<AudioSpec>> cases[] = {
        {"int4 music = {90, 3, 8, 2};", spec},
        {"int4 music=int4(90,3,8,2)", spec},
        {"music \t=\t{ 90 , 3 ,\t8 , 2", spec},
        {"  auto music = 90,3,8,2,17", spec},
        {"int4 music = int4({90,3,8,2});", spec},
        {"foo(); int4 music = {90,3,8,2}; // aside", spec},
        {"music = none; int4 music = {90,3,8,2}; music = {1,2,3,4}", spec},
        {"musicmusic = {90,3,8,2}", spec},
        {"int4 music = {90, 3, 8};", std::nullopt},
        {"int4 music = {-90, 3, 8, 2};", std::nullopt},
        {"int4 music = { {90, 3, 8, 2};", std::nullopt},
        {"int4 music = int4( {90, 3, 8, 2};", std::nullopt},
        {"int4 music {90, 3, 8, 2};", std::nullopt},
        {"int4 Music = {90, 3, 8, 2};", std::nullopt},
        {"int4 music = {90.5, 3, 8, 2};", std::nullopt},
        {"int4 music = {9223372036854775808, 3, 8, 2};", std::nullopt},
        {"int4 music = {9223372036854775807, 3, 8, 2};", AudioSpec{9223372036854775807, 3, 8, 2}},
        {"music", std::nullopt},
    };
    for (const auto& [line, music] : cases)
        EXPECT_EQ(findMusic(line), music) << line;
}

TEST(Preprocessor, FindsEntryFunctions) {
    const std::tuple<const char*, bool, bool, bool> cases[] = {
        {"void cpu() {}\nvoid fx() {}\nfloat2 sfx() {}", true, true, true},
        {"void cpu() { fx(); }", true, true, false},
        {"float2 sfx() { return float2(fx()); }", false, false, true},
        {"  // void cpu() {}\n\t\v// fx()\n//sfx()", false, false, false},
        {"/*\ncpu()\n*/ x = 1; // fx()", true, true, false},
        {"void cpu( ) {} void fx () {}", false, false, false},
        {"\r\n\n\nvoid fx() {}\r\n", false, true, false},
        {"fx()\n", false, true, false},
    };
    for (const auto& [source, cpu, video, audio] : cases) {
        const PreprocessedSource result = scan(source);
        EXPECT_EQ(result.hasCPU, cpu) << source;
        EXPECT_EQ(result.hasVideo, video) << source;
        EXPECT_EQ(result.hasAudio, audio) << source;
    }
}

TEST(Preprocessor, AddsWhatIsMissing) {
    EXPECT_EQ(scan("x").additions, noMusic + noCPU + noVideo + noAudio);
    EXPECT_EQ(scan("void fx() {}").additions, noMusic + noCPU + noAudio);
    EXPECT_EQ(scan("cpu() music={1,1,1,1}\nsfx()").additions, noVideo);
    EXPECT_EQ(scan("cpu() fx()\n sfx()\nmusic={1,1,1,1}").additions, "");
    // Too few numbers are no music line; the program then has two.
    EXPECT_EQ(scan("int4 music = {1,2,3};\ncpu()fx()\nsfx()").additions, noMusic);
    EXPECT_EQ(scan("// music={1,1,1,1}\ncpu()fx()\nsfx()").additions, noMusic);
}

TEST(Preprocessor, WarnsOfEntryFunctionsThatAreNearlyRight) {
    // What is expected is how the warnings begin, without "program_source:", and what they advise.
    const std::string fx = "write exactly \"void fx()\"";
    struct Row {
        const char* source;
        std::vector<std::pair<std::string, std::string>> warnings = {};
    };
    const Row rows[] = {
        {"void fx() {}"},
        {"void\nfx() {}"},
        {"static void  fx() {} // not void fx ()"},
        {"float sfx() { return 0; }"}, // is both ears' value
        {"void fx() {}\nfloat4 fx(float2 p) { return 0; }\nstruct A { int fx() { return 1; } };"},
        {"void fx() {}\nvoid Cpu(int a) {}\nfloat x = cpux + mycpu (1);\nreturn sfx ();"},
        {"\nvoid fx () {}", {{"12:1: warning: \"void fx (\"", fx}}},
        {"  void fx( ) {}", {{"11:3: warning: \"void fx(\"", fx}}},
        {"void fx(void) {}", {{"11:1: warning: \"void fx(\"", fx}}},
        {"void fx\n() {}", {{"11:1: warning: \"void fx", fx}}},
        {"void Fx() {}", {{"11:1: warning: \"void Fx(\"", fx}}},
        {"float fx(float2 uv) {}", {{"11:1: warning: \"float fx(\"", fx}}},
        {"float fx() {}", {{"11:1: warning: \"float fx()\"", fx}}},
        {"void sfx() {}", {{"11:1: warning: \"void sfx()\"", "write exactly \"float2 sfx()\""}}},
        {"void cpu () {}\nvoid fx() {}\nfloat2 SFX () {}",
         {{"11:1: warning: \"void cpu (\"", "\"void cpu()\""},
          {"13:1: warning: \"float2 SFX (\"", "\"float2 sfx()\""}}},
        {"void fx() {} float2 sfx() {}",
         {{"11:1: warning: fx() is not found on a line that has sfx()", "of its own"}}},
        {"int x; // fx", {{"warning: nothing to run: write \"void fx()\"", ""}}},
        {"// void fx() {}", {{"warning: nothing to run", ""}}},
        {"int x;\nvoid main() {}", {{"12:1: warning: nothing to run", "\"void fx()\""}}},
    };
    for (const auto& [source, expected] : rows) {
        SCOPED_TRACE(source);
        std::istringstream lines(entrySpellingWarnings(source, scan(source), 10));
        for (const auto& [begin, advice] : expected) {
            std::string line;
            ASSERT_TRUE(std::getline(lines, line));
            const std::string position = line.starts_with("warning") ? "" : "program_source:";
            EXPECT_TRUE(line.starts_with(position + begin)) << line;
            EXPECT_NE(line.find(advice), line.npos) << line;
        }
        std::string more;
        EXPECT_FALSE(std::getline(lines, more)) << more;
    }
}

} // namespace starloom
