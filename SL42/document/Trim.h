// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#pragma once

#include <string_view>

namespace starloom {

/// The text without white space and line ends around it.
inline std::string_view trimmed(std::string_view text) {
    constexpr std::string_view whiteSpace = " \t\r\n\v\f";
    const auto begin = text.find_first_not_of(whiteSpace);
    if (begin == text.npos)
        return {};
    return text.substr(begin, text.find_last_not_of(whiteSpace) - begin + 1);
}

} // namespace starloom
