// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Positions that the log speaks of.
#pragma once

#include "SL42/builder/CompilerMessages.h"

#include <optional>
#include <string_view>

namespace app {

/// A place in the user's source; both count from 1.
struct SourcePosition {
    int line = 1;
    int column = 1;
    bool operator==(const SourcePosition&) const = default;
};

/// The same place as the window counts; none when there is none, or it is beyond all texts.
std::optional<SourcePosition> positionAt(const std::optional<starloom::ProgramPlace>& place);

/// Where a line of the log points to: one of the compiler's ("program_source:LINE:COLUMN:"), or one
/// about a program that was stopped, which begins with "line LINE:". None when it does not point
/// anywhere, or the compiler means the prelude, which stands in front of the source with
/// `preludeLines` lines.
std::optional<SourcePosition> positionIn(std::string_view logLine, int preludeLines);

} // namespace app
