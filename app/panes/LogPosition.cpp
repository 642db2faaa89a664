// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "app/panes/LogPosition.h"

#include <charconv>

namespace app {

/// The number that stands before a colon at the front of the text, which it is taken off.
static std::optional<int> takeNumber(std::string_view& text) {
    int number = 0;
    const char* const end = text.data() + text.size();
    const auto parsed = std::from_chars(text.data(), end, number);
    if (parsed.ec != std::errc() || parsed.ptr == end || *parsed.ptr != ':')
        return std::nullopt;
    text.remove_prefix(static_cast<std::size_t>(parsed.ptr - text.data()) + 1);
    return number;
}

std::optional<SourcePosition> positionIn(std::string_view logLine, int preludeLines) {
    constexpr std::string_view compilers = "program_source:";
    constexpr std::string_view faults = "line ";
    std::string_view rest = logLine;
    if (rest.starts_with(faults)) {
        rest.remove_prefix(faults.size());
        const auto line = takeNumber(rest);
        return line && *line > 0 ? std::optional(SourcePosition{*line, 1}) : std::nullopt;
    }
    const auto start = rest.find(compilers);
    if (start == rest.npos)
        return std::nullopt;
    rest.remove_prefix(start + compilers.size());
    const auto line = takeNumber(rest);
    SourcePosition position;
    const char* const end = rest.data() + rest.size();
    if (!line || *line <= preludeLines ||
        std::from_chars(rest.data(), end, position.column).ec != std::errc())
        return std::nullopt;
    position.line = *line - preludeLines;
    return position;
}

} // namespace app
