// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The help against the truth: the text of the prelude, and the page that is made from the help.
#include "app/help/HelpReference.h"
#include "app/help/Markdown.h"
#include "tests/app/help/PreludeNames.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>

namespace help {
namespace {

/// What programs themselves declare.
const std::map<std::string, std::set<std::string>> programNames{
    {"cpu", {"void cpu()"}},
    {"fx", {"void fx()"}},
    {"sfx", {"float2 sfx()"}},
    {"music", {"int4 music = {120, 4, 4, 4}"}}};

std::map<std::string, std::set<std::string>> allNames() {
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

TEST(Reference, ThePageIsUpToDate) {
    const char* const root = std::getenv("SL42_SOURCE_DIR");
    const auto file = std::filesystem::path(root ? root : ".") / "docs/reference.md";
    const std::string page = toMarkdown(HelpReference::builtIn());
    if (std::getenv("SL42_UPDATE_GOLDENS")) {
        std::ofstream(file) << page;
        GTEST_SKIP() << "wrote " << file;
    }
    std::stringstream text;
    text << std::ifstream(file).rdbuf();
    EXPECT_TRUE(text.str() == page) << file << " is not what the help says. Write it anew with: "
                                    << "./test --update-goldens -R help_tests";
}

} // namespace help
