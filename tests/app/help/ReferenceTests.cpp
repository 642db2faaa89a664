// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The help against the truth: the text of the prelude, and the page that is made from the help.
#include "SL42/prelude/ShaderStrings.h"
#include "app/help/HelpReference.h"
#include "app/help/Markdown.h"
#include "tests/ScratchFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <map>
#include <regex>
#include <set>

namespace help {
namespace {

using Names = std::map<std::string, std::set<std::string>>;

/// What programs themselves declare.
const Names programNames{{"cpu", {"void cpu()"}},
                         {"fx", {"void fx()"}},
                         {"sfx", {"float2 sfx()"}},
                         {"music", {"int4 music = {120, 4, 4, 4}"}}};

/// On one line, with single spaces.
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

/// Every name that programs can use, with its declarations in the form of normalized(). Enumerators
/// and names of keys have none of their own.
Names preludeNames() {
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

Names allNames() {
    auto names = preludeNames();
    names.insert(programNames.begin(), programNames.end());
    return names;
}

std::vector<Entry> entries() {
    std::vector<Entry> all;
    for (const Section& section : HelpReference::builtIn().sections())
        all.insert(all.end(), section.entries.begin(), section.entries.end());
    return all;
}

std::set<std::string> parameterNames(const std::string& declaration) {
    const std::size_t open = declaration.find('(');
    const std::string list = declaration.substr(open + 1, declaration.rfind(')') - open - 1) + ",";
    const std::regex parameter(R"((\w+)( = [^,]*)?,)");
    std::set<std::string> names;
    for (std::sregex_iterator match(list.begin(), list.end(), parameter), end; match != end;
         ++match)
        names.insert((*match)[1]);
    return names;
}

} // namespace

TEST(Reference, EveryNameOfThePreludeIsExplained) {
    const auto names = preludeNames();
    EXPECT_GT(names.size(), 110U) << "the prelude has been read";
    for (const auto& [name, declarations] : names) {
        const Entry* const entry = HelpReference::builtIn().find(name);
        if (!entry || !std::count(entry->names.begin(), entry->names.end(), name)) {
            ADD_FAILURE() << "no entry explains " << name;
            continue;
        }
        for (const std::string& declaration : declarations) {
            if (declaration.find('(') == declaration.npos || declaration.starts_with('#'))
                continue; // values may leave theirs out
            EXPECT_TRUE(std::any_of(
                entry->declarations.begin(), entry->declarations.end(),
                [&](const std::string& text) { return normalized(text) == declaration; }))
                << name << " lacks " << declaration;
        }
    }
}

TEST(Reference, NothingIsExplainedThatDoesNotExist) {
    const auto names = allNames();
    std::set<std::string> known;
    for (const auto& [name, declarations] : names)
        known.insert(declarations.begin(), declarations.end());
    for (const Entry& entry : entries()) {
        for (const std::string& name : entry.names)
            EXPECT_TRUE(names.contains(name)) << name << " does not exist";
        for (const std::string& declaration : entry.declarations)
            EXPECT_TRUE(known.contains(normalized(declaration))) << declaration;
    }
}

TEST(Reference, FunctionsListTheirParameters) {
    for (const Entry& entry : entries()) {
        if (entry.section != "Functions")
            continue;
        std::set<std::string> expected;
        bool returns = false;
        for (const std::string& declaration : entry.declarations) {
            expected.merge(parameterNames(declaration));
            returns |= declaration.find("void ") == declaration.npos;
        }
        EXPECT_EQ(!entry.returns.empty(), returns) << entry.id;
        std::set<std::string> listed;
        for (const Parameter& parameter : entry.parameters)
            listed.insert(parameter.name);
        EXPECT_EQ(listed, expected) << entry.id;
    }
}

TEST(Reference, EntriesAreWholeAndLinked) {
    std::set<std::string> ids;
    for (const Entry& entry : entries()) {
        EXPECT_TRUE(ids.insert(entry.id).second) << entry.id << " stands there twice";
        EXPECT_FALSE(entry.summary.empty() || entry.example.empty()) << entry.id;
        for (const std::string& other : entry.seeAlso)
            EXPECT_TRUE(HelpReference::builtIn().find(other)) << entry.id << " links to " << other;
    }
}

TEST(CheatSheet, NamesEveryFunction) {
    const char* const root = std::getenv("SL42_SOURCE_DIR");
    const std::string page =
        tests::contentsOf(std::filesystem::path(root ? root : ".") / "docs/cheatsheet.md");
    for (const auto& [name, declarations] : preludeNames()) {
        const bool isFunction = std::ranges::any_of(declarations, [&](const std::string& text) {
            return text.find(name + "(") != text.npos && !text.starts_with('#') &&
                   !text.starts_with("constexpr");
        });
        // One stands for its sisters (randomfloat2), and genAudioTimers is for special cases.
        const bool isSister = name.starts_with("random") && std::isdigit(name.back()) != 0;
        if (isFunction && !isSister && name != "genAudioTimers")
            EXPECT_NE(page.find("`" + name), page.npos) << name << " is missing";
    }
}

TEST(Reference, ThePageIsUpToDate) {
    const char* const root = std::getenv("SL42_SOURCE_DIR");
    const auto file = std::filesystem::path(root ? root : ".") / "docs/reference.md";
    const std::string page = toMarkdown(HelpReference::builtIn());
    if (std::getenv("SL42_UPDATE_GOLDENS")) {
        std::ofstream(file) << page;
        GTEST_SKIP() << "wrote " << file;
    }
    EXPECT_TRUE(tests::contentsOf(file) == page)
        << file << " is not what the help says. Write it anew with: "
        << "./test --update-goldens -R help_tests";
}

} // namespace help
