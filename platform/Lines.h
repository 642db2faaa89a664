// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Texts line by line.
#pragma once

#include <algorithm>
#include <string_view>
#include <vector>

namespace platform {

/// The lines without their ends; they lie in `text`. A line end at the very end begins no line.
inline std::vector<std::string_view> linesOf(std::string_view text) {
    std::vector<std::string_view> lines;
    while (!text.empty()) {
        lines.push_back(text.substr(0, text.find('\n')));
        text.remove_prefix(std::min(lines.back().size() + 1, text.size()));
    }
    return lines;
}

} // namespace platform
