// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "app/panes/LogPosition.h"

#include <charconv>

namespace app {

std::optional<SourcePosition> positionIn(std::string_view logLine, int preludeLines) {
    constexpr std::string_view mark = "program_source:";
    const auto start = logLine.find(mark);
    if (start == logLine.npos)
        return std::nullopt;
    const char* const end = logLine.data() + logLine.size();
    SourcePosition position;
    const auto line = std::from_chars(logLine.data() + start + mark.size(), end, position.line);
    if (line.ec != std::errc() || line.ptr == end || *line.ptr != ':')
        return std::nullopt;
    if (std::from_chars(line.ptr + 1, end, position.column).ec != std::errc())
        return std::nullopt;
    if (position.line <= preludeLines)
        return std::nullopt;
    position.line -= preludeLines;
    return position;
}

} // namespace app
