// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Small operations on texts that the parser and the search share. Letters are ASCII's.
#pragma once

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

namespace help {

constexpr char lowerCase(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

inline std::string lowerCase(std::string_view text) {
    std::string lower(text);
    for (char& c : lower)
        c = lowerCase(c);
    return lower;
}

/// The parts between separators; empty parts are dropped.
inline std::vector<std::string_view> split(std::string_view text, std::string_view separator) {
    std::vector<std::string_view> parts;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find(separator), text.size());
        if (end > 0)
            parts.push_back(text.substr(0, end));
        text.remove_prefix(std::min(end + separator.size(), text.size()));
    }
    return parts;
}

} // namespace help
