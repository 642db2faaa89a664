// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "app/panes/LogPosition.h"

#include <gtest/gtest.h>

namespace app {

TEST(LogPosition, LeadsFromTheLogToTheSource) {
    struct Row {
        const char* line;
        std::optional<SourcePosition> expected;
    };
    for (const Row& row : {
             Row{"program_source:672:5: error: no such thing", SourcePosition{1, 5}},
             Row{"In file program_source:700:12", SourcePosition{29, 12}},
             Row{"program_source:671:1: error: in the prelude", std::nullopt},
             Row{"program_source:99999999999999:1: error", std::nullopt},
             Row{"program_source:: error", std::nullopt},
             Row{"program_source:700", std::nullopt},
             Row{"program_source:700:x", std::nullopt},
             Row{"    cls(nonsense);", std::nullopt},
             Row{"", std::nullopt},
         })
        EXPECT_EQ(positionIn(row.line, 671), row.expected) << row.line;
}

} // namespace app
