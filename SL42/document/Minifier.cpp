// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/document/Minifier.h"

#include "SL42/document/Trim.h"

#include <algorithm>

namespace starloom {

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
