// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What the performer is told: what is wrong and where, where the song stands, how loud it is.
#include "app/panes/LogPosition.h"
#include "app/panes/Performance.h"
#include "app/panes/Problem.h"

#include <gtest/gtest.h>

namespace app {

void PrintTo(const Problem& problem, std::ostream* out) {
    *out << problem.message;
    if (problem.position)
        *out << " at " << problem.position->line << ":" << problem.position->column;
}

namespace {

using Severity = Problem::Severity;

TEST(Problems, ComeFromTheLogErrorsFirst) {
    const std::string log = "Compilation failed:\n"
                            "program_source:103:4: warning: unused\n    code\n    ^\n"
                            "program_source:101:9: error: no 'x: error: y' here\n"
                            "program_source:50:1: note: declared in the prelude\n"
                            "program_source:101:9: error: no 'x: error: y' here\n"
                            "program_source:20:1: error: in the prelude\n"
                            "program_source:102:3: note: in instantiation of function template "
                            "specialization 'SL42::poke32<float2>' requested here";
    const std::vector<Problem> expected{
        {Severity::Error, SourcePosition{7, 1}, "It hangs: in a loop"},
        {Severity::Error, SourcePosition{3, 11}, "no 'x: error: y' here"},
        {Severity::Error, SourcePosition{4, 3},
         "'poke32' is for values of 4 bytes, and a 'float2' has 8; write poke64"},
        {Severity::Warning, SourcePosition{5, 4}, "unused"}};
    // Two blank lines and two blanks stand before the program in the user's file.
    EXPECT_EQ(problemsIn("line 5: It hangs: in a loop", log, {.before = 100, .count = 9},
                         {.lines = 2, .columns = 2}),
              expected);
    EXPECT_EQ(faultInFile("line 5: It hangs", {.lines = 2, .columns = 2}), "line 7: It hangs");
    EXPECT_EQ(faultInFile("It hangs", {.lines = 2, .columns = 2}), "It hangs");
    EXPECT_EQ(problemsIn("", "Failed to create fx compute pipeline state", {.before = 100}, {}),
              (std::vector<Problem>{
                  {Severity::Error, std::nullopt, "Failed to create fx compute pipeline state"}}));
    EXPECT_TRUE(problemsIn("", "", {.before = 100}, {}).empty());
}

TEST(LogPosition, LeadsFromTheLogToTheSource) {
    const std::pair<const char*, std::optional<SourcePosition>> rows[] = {
        {"program_source:672:5: error: no such thing", SourcePosition{1, 5}},
        {"In file program_source:700:12", SourcePosition{29, 12}},
        {"program_source:671:1: error: in the prelude", std::nullopt},
        {"program_source:99999999999999:1: error", std::nullopt},
        {"program_source:: error", std::nullopt},
        {"program_source:700:x", std::nullopt},
        {"", std::nullopt},
        {"line 12: still in this loop after 2 s", SourcePosition{12, 1}},
        {"line 0: nowhere", std::nullopt},
        {"line 99999999999999: nowhere", std::nullopt},
        {"line up", std::nullopt},
        {"the line 12: quoted", std::nullopt},
    };
    for (const auto& [line, expected] : rows)
        EXPECT_EQ(positionIn(line, 671), expected) << line;
}

TEST(Performance, TellsWhereTheSongStands) {
    const starloom::AudioSpec song{
        .bpm = 120, .beatsPerBar = 3, .barsPerPattern = 2, .patternCount = 2};
    EXPECT_EQ(songPositionAt(song, 0), SongPosition{});
    EXPECT_EQ(songPositionAt(song, 24'000 * 3 - 1), (SongPosition{1, 1, 3}));
    EXPECT_EQ(songPositionAt(song, 24'000 * 11), (SongPosition{2, 2, 3}));
    EXPECT_EQ(songPositionAt(song, 24'000 * 12), SongPosition{}) << "it loops";
    EXPECT_EQ(songPositionAt({.bpm = 120, .beatsPerBar = 0}, 5), SongPosition{});
}

TEST(Performance, TellsHowLoudItWasAMomentAgo) {
    const auto song = platform::PCMBuffer::create(10'000);
    for (const std::uint32_t channel : {0U, 1U})
        std::ranges::fill(song->channel(channel), 0.0F);
    song->channel(1)[9'000] = -0.75F;
    EXPECT_EQ(peakBefore(*song, 9'000), 0.0F) << "it has not sounded yet";
    EXPECT_EQ(peakBefore(*song, 9'001), 0.75F);
    EXPECT_EQ(peakBefore(*song, 10'000 + 1'400), 0.75F) << "in the round before";
    EXPECT_EQ(peakBefore(*song, 10'000 + 1'401), 0.0F);
    EXPECT_EQ(peakBefore(*platform::PCMBuffer::create(0), 5), 0.0F);
}

} // namespace
} // namespace app
