// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "tests/app/help/PreludeNames.h"

#include "SL42/prelude/ShaderStrings.h"

#include <cctype>
#include <regex>

namespace help {
namespace {

using Names = std::map<std::string, std::set<std::string>>;

constexpr auto lineByLine = std::regex::ECMAScript | std::regex::multiline;

/// Adds each match of `pattern`; the groups say which part is the declaration and which the name.
void collect(const std::string& text, const char* pattern, std::size_t declaration,
             std::size_t name, Names& names) {
    const std::regex expression(pattern, lineByLine);
    for (std::sregex_iterator match(text.begin(), text.end(), expression), end; match != end;
         ++match)
        names[(*match)[name]].insert(normalized((*match)[declaration].str()));
}

void collectEnumerators(const std::string& text, Names& names) {
    const std::regex block(R"(^enum [^{]*\{([^}]*)\})", lineByLine);
    const std::regex enumerator(R"((\w+) =)");
    for (std::sregex_iterator match(text.begin(), text.end(), block), end; match != end; ++match) {
        const std::string body = (*match)[1];
        for (std::sregex_iterator one(body.begin(), body.end(), enumerator); one != end; ++one)
            names[(*one)[1]];
    }
}

} // namespace

std::string normalized(std::string_view declaration) {
    std::string text;
    for (const char c : declaration) {
        if (std::isspace(static_cast<unsigned char>(c)) == 0)
            text += c;
        else if (!text.empty() && text.back() != ' ')
            text += ' ';
    }
    while (text.ends_with(' '))
        text.pop_back();
    return text;
}

std::map<std::string, std::set<std::string>> preludeNames() {
    const std::string text =
        std::regex_replace(starloom::SharedShaderStrings::standardProcessingHeader(),
                           std::regex("//.*$", lineByLine), "");
    Names names;
    // Functions and types begin at the start of a line, members of the machine class are indented.
    collect(text, R"(^((template <typename T>\n)?\w+ (\w+)\([^{};]*\)) \{$)", 1, 3, names);
    collect(text, R"(^((enum|struct) (\w+)[^{]*\{[^}]*\});)", 1, 3, names);
    collect(text, R"(^(#define (\w+) .*)$)", 1, 2, names);
    collect(text, R"(^(constant \w+ (\w+)[^=;]*?)( = .*)?;$)", 1, 2, names);
    collect(text, R"(^(constexpr sampler (\w+)\([^;]*);$)", 1, 2, names);
    const std::string machine = text.substr(text.find("class SL42"));
    const std::string members = machine.substr(0, machine.find("\nenum"));
    collect(members, R"(^    ([\w<>:, ]+\*? (\w+))( = .*)?;$)", 1, 2, names);
    collectEnumerators(text, names);
    return names;
}

} // namespace help
