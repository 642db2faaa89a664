// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "app/panes/LogPosition.h"

#include <charconv>
#include <climits>

namespace app {

std::optional<SourcePosition> positionAt(const std::optional<starloom::ProgramPlace>& place) {
    if (!place || place->line > INT_MAX || place->column > INT_MAX)
        return std::nullopt;
    return SourcePosition{static_cast<int>(place->line), static_cast<int>(place->column)};
}

std::optional<SourcePosition> positionIn(std::string_view logLine, int preludeLines) {
    constexpr std::string_view faults = "line ";
    if (!logLine.starts_with(faults))
        return positionAt(starloom::placeIn(logLine, static_cast<std::size_t>(preludeLines)));
    logLine.remove_prefix(faults.size());
    int line = 0;
    const char* const end = logLine.data() + logLine.size();
    const auto parsed = std::from_chars(logLine.data(), end, line);
    if (parsed.ec != std::errc() || parsed.ptr == end || *parsed.ptr != ':' || line <= 0)
        return std::nullopt;
    return SourcePosition{line, 1};
}

} // namespace app
