// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "app/panes/LogPosition.h"

#include <gtest/gtest.h>

namespace app {

TEST(LogPosition, LeadsFromTheLogToTheSource) {
    const std::pair<const char*, std::optional<SourcePosition>> rows[] = {
        {"program_source:672:5: error: no such thing", SourcePosition{1, 5}},
        {"In file program_source:700:12", SourcePosition{29, 12}},
        {"program_source:671:1: error: in the prelude", std::nullopt},
        {"program_source:99999999999999:1: error", std::nullopt},
        {"program_source:: error", std::nullopt},
        {"program_source:700", std::nullopt},
        {"program_source:700:x", std::nullopt},
        {"    cls(nonsense);", std::nullopt},
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

} // namespace app
