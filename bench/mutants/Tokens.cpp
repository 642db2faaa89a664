// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "bench/mutants/Mutator.h"

#include <algorithm>
#include <cctype>

namespace mutants {
namespace {

bool isSpace(char c) {
    return std::isspace(static_cast<unsigned char>(c)) != 0;
}
bool isWord(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_' || c == '.';
}

std::size_t endOfComment(std::string_view text) {
    if (text.starts_with("//"))
        return std::min(text.find('\n'), text.size());
    const auto end = text.find("*/", 2);
    return end == text.npos ? text.size() : end + 2;
}

/// To the next quotation mark of its kind on the same line.
std::size_t endOfQuotation(std::string_view text) {
    const auto end = text.find_first_of(std::string{text[0], '\n'}, 1);
    return end == text.npos ? text.size() : end + 1;
}

/// `text` begins with something other than white space.
std::size_t lengthOfToken(std::string_view text) {
    if (text.starts_with("//") || text.starts_with("/*"))
        return endOfComment(text);
    if (text[0] == '"' || text[0] == '\'')
        return endOfQuotation(text);
    if (isWord(text[0]))
        return static_cast<std::size_t>(std::ranges::find_if_not(text, isWord) - text.begin());
    for (const std::string_view sign : {"[[", "]]", "<<", ">>", "<=", ">=", "==", "!=", "&&", "||",
                                        "++", "--", "+=", "-=", "*=", "/=", "->", "::"})
        if (text.starts_with(sign))
            return sign.size();
    return 1;
}

} // namespace

std::vector<std::string> tokensOf(std::string_view text) {
    std::vector<std::string> tokens;
    while (!text.empty()) {
        const auto space =
            static_cast<std::size_t>(std::ranges::find_if_not(text, isSpace) - text.begin());
        const std::size_t length =
            space == text.size() ? space : space + lengthOfToken(text.substr(space));
        tokens.emplace_back(text.substr(0, length));
        text.remove_prefix(length);
    }
    return tokens;
}

} // namespace mutants
