// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/document/Minifier.h"

namespace starloom {

static std::string_view trimmed(std::string_view line) {
    constexpr std::string_view whiteSpace = " \t\r\n\v\f";
    const auto begin = line.find_first_not_of(whiteSpace);
    if (begin == line.npos)
        return {};
    return line.substr(begin, line.find_last_not_of(whiteSpace) - begin + 1);
}

std::string minify(std::string_view source) {
    std::string packed;
    while (!source.empty()) {
        const std::string_view line = source.substr(0, source.find('\n'));
        source.remove_prefix(std::min(line.size() + 1, source.size()));
        const std::string_view text = trimmed(line);
        const std::string_view kept = text.substr(0, text.find("//"));
        packed += kept;
        if (kept.starts_with('#'))
            packed += '\n';
    }
    return packed;
}

} // namespace starloom
