// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The lines of a program as the scans before compilation see them: those that begin with "//" do
// not count, all others do, whatever stands in them.
#pragma once

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace starloom {

constexpr std::string_view whitespace = " \t\n\v\f\r";

inline bool isCommentLine(std::string_view line) {
    line.remove_prefix(std::min(line.find_first_not_of(whitespace), line.size()));
    return line.starts_with("//");
}

/// Calls `visit` with each line that counts, and its number from 1.
template <class Visit>
void forEachLine(std::string_view source, const Visit& visit) {
    for (std::size_t number = 1; !source.empty(); ++number) {
        const std::string_view line = source.substr(0, source.find('\n'));
        source.remove_prefix(std::min(line.size() + 1, source.size()));
        if (!isCommentLine(line))
            visit(line, number);
    }
}

} // namespace starloom
