// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The built-in help as data: sections of groups of entries, read from the texts in text/
// (README.md describes their format), and the search over them. Html.h and Markdown.h turn it
// into something to look at.
#pragma once

#include "platform/base/Result.h"

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace help {

/// Prose between the fixed parts of an entry. Lines hold inline code in `backticks`. Claims are
/// statements, which end in ";", "{" or "}", and expressions that are true after them; the tests
/// run them.
struct Block {
    enum class Kind { Paragraph, List, Table, Code, Claims };
    Kind kind = Kind::Paragraph;
    /// One line for a paragraph; one for each item, row ("a | b") or line of code. The first row
    /// of a table is its head.
    std::vector<std::string> lines;
};

struct Parameter {
    std::string name;
    std::string text;
};

/// One page of the help.
struct Entry {
    /// What it is called as a link: the first name, or the title in small letters with hyphens.
    std::string id;
    std::string title;
    /// What it explains, as programs write it; empty for pages of prose.
    std::vector<std::string> names;
    std::string section;
    std::string group; ///< may be empty
    /// The first paragraph.
    std::string summary;
    /// Declarations as they stand in the prelude, one each.
    std::vector<std::string> declarations;
    std::vector<Parameter> parameters;
    /// What is returned; empty for nothing.
    std::string returns;
    std::vector<Block> notes;
    /// A whole program that shows it.
    std::string example;
    /// Ids of other entries.
    std::vector<std::string> seeAlso;
};

struct Section {
    std::string id;
    std::string title;
    std::string introduction;
    std::vector<Entry> entries;
};

/// Immutable, so any thread may read it.
class HelpReference {
public:
    /// One text per section, in their order. The error names the section and the line.
    static platform::Result<HelpReference> parse(std::span<const std::string_view> texts);
    /// The help of this console; read once.
    static const HelpReference& builtIn();

    const std::vector<Section>& sections() const { return m_sections; }
    /// The entry with that id, or that explains something of that name; null when there is none.
    const Entry* find(std::string_view idOrName) const;
    /// Entries in which every word of the query occurs, upper or lower case, the best first: names
    /// before titles, beginnings before middles, summaries before details.
    std::vector<const Entry*> search(std::string_view query) const;

private:
    std::vector<Section> m_sections;
};

} // namespace help
