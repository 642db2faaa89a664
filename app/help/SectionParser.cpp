// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "app/help/SectionParser.h"

#include "app/help/Words.h"

#include <algorithm>
#include <cctype>
#include <optional>
#include <utility>

namespace help {
namespace {

std::vector<std::string_view> linesOf(std::string_view text) {
    std::vector<std::string_view> lines;
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = std::min(text.find('\n', begin), text.size());
        lines.push_back(text.substr(begin, end - begin));
        begin = end + 1;
    }
    return lines;
}

/// Takes `prefix` off the line when it begins with it.
bool take(std::string_view& line, std::string_view prefix) {
    if (!line.starts_with(prefix))
        return false;
    line.remove_prefix(prefix.size());
    return true;
}

std::string idOf(std::string_view title) {
    std::string id;
    for (const char c : title) {
        if (std::isalnum(static_cast<unsigned char>(c)) != 0)
            id += lowerCase(c);
        else if (!id.empty() && id.back() != '-')
            id += '-';
    }
    if (id.ends_with('-'))
        id.pop_back();
    return id;
}

/// Many names are cut short.
std::string titleOf(const std::vector<std::string>& names) {
    constexpr std::size_t most = 5;
    std::string title = names.front();
    for (std::size_t i = 1; i < names.size(); ++i) {
        if (names.size() <= most || i < 3)
            title += ", " + names[i];
    }
    return names.size() <= most ? title : title + " ... " + names.back();
}

/// The words in backticks, when the title consists of nothing else: "`peek8`, `peek16`".
std::vector<std::string> namesIn(std::string_view title) {
    std::vector<std::string> names;
    for (const std::string_view part : split(title, ", ")) {
        if (part.size() < 3 || !part.starts_with('`') || !part.ends_with('`'))
            return {};
        names.emplace_back(part.substr(1, part.size() - 2));
    }
    return names;
}

class Parser {
public:
    explicit Parser(std::string_view text) : m_lines(linesOf(text)) {}

    platform::Result<Section> parse();

private:
    // Each reads one construct from the current line on, if it begins there.
    bool readHeading();
    bool readFence();
    bool readDeclarations();
    bool readParameter();
    bool readSeeAlso();
    bool readBlock(std::string_view prefix, Block::Kind kind);
    void readParagraph();

    void beginEntry(std::string_view title);
    /// Joins the current line and those that continue it, which are indented or, in a paragraph,
    /// plain text.
    std::string readText(std::string_view first, bool indented);
    bool atEnd() const { return m_next == m_lines.size(); }
    std::string_view line() const { return m_lines[m_next]; }
    void fail(std::string message) {
        if (!m_error)
            m_error = "line " + std::to_string(m_next + 1) + ": " + std::move(message);
    }

    std::vector<std::string_view> m_lines;
    std::size_t m_next = 0;
    Section m_section;
    std::string m_group;
    Entry* m_entry = nullptr; // the last of m_section
    std::optional<std::string> m_error;
};

platform::Result<Section> Parser::parse() {
    while (!atEnd() && !m_error) {
        if (line().empty())
            ++m_next;
        else if (!readHeading() && !readFence() && !readDeclarations() && !readParameter() &&
                 !readSeeAlso() && !readBlock("* ", Block::Kind::List) &&
                 !readBlock("| ", Block::Kind::Table))
            readParagraph();
    }
    if (!m_error && m_section.title.empty())
        fail("the section has no title");
    if (m_error)
        return platform::Error{*m_error};
    return std::move(m_section);
}

bool Parser::readHeading() {
    std::string_view title = line();
    if (take(title, "### ")) {
        beginEntry(title);
    } else if (take(title, "## ")) {
        m_group = title;
        m_entry = nullptr;
    } else if (take(title, "# ")) {
        m_section.title = title;
        m_section.id = idOf(title);
    } else {
        return false;
    }
    ++m_next;
    return true;
}

void Parser::beginEntry(std::string_view title) {
    m_entry = &m_section.entries.emplace_back();
    m_entry->names = namesIn(title);
    m_entry->id = m_entry->names.empty() ? idOf(title) : m_entry->names.front();
    m_entry->title = m_entry->names.empty() ? title : titleOf(m_entry->names);
    m_entry->section = m_section.title;
    m_entry->group = m_group;
}

bool Parser::readFence() {
    if (!line().starts_with("```"))
        return false;
    const bool example = line() == "```metal";
    const bool claims = line() == "```true";
    Block code{.kind = claims ? Block::Kind::Claims : Block::Kind::Code, .lines = {}};
    for (++m_next; !atEnd() && line() != "```"; ++m_next)
        code.lines.emplace_back(line());
    if (atEnd() || !m_entry) {
        fail(atEnd() ? "the program text does not end" : "program text outside an entry");
        return true;
    }
    ++m_next;
    if (!example) {
        m_entry->notes.push_back(std::move(code));
        return true;
    }
    if (!m_entry->example.empty())
        fail("a second example");
    for (const std::string& codeLine : code.lines)
        m_entry->example += codeLine + '\n';
    return true;
}

bool Parser::readDeclarations() {
    if (!line().starts_with("    "))
        return false;
    if (!m_entry)
        fail("a declaration outside an entry");
    for (; !atEnd() && line().starts_with("    "); ++m_next) {
        const std::string_view declaration = line().substr(4);
        if (!m_entry)
            continue;
        const bool continues = declaration.starts_with(' ') || declaration.starts_with('}');
        if (continues && !m_entry->declarations.empty())
            m_entry->declarations.back().append("\n").append(declaration);
        else
            m_entry->declarations.emplace_back(declaration);
    }
    return true;
}

bool Parser::readParameter() {
    std::string_view text = line();
    if (!take(text, "- "))
        return false;
    const std::size_t colon = text.find(": ");
    if (!m_entry || colon == text.npos) {
        fail(m_entry ? "a parameter without a colon" : "a parameter outside an entry");
        return true;
    }
    const std::string name(text.substr(0, colon));
    std::string description = readText(text.substr(colon + 2), true);
    if (name == "returns")
        m_entry->returns = std::move(description);
    else
        m_entry->parameters.push_back({name, std::move(description)});
    return true;
}

bool Parser::readSeeAlso() {
    std::string_view text = line();
    if (!m_entry || !take(text, "See also: "))
        return false;
    for (const std::string_view id : split(text, ", "))
        m_entry->seeAlso.emplace_back(id);
    ++m_next;
    return true;
}

bool Parser::readBlock(std::string_view prefix, Block::Kind kind) {
    if (!line().starts_with(prefix))
        return false;
    Block block{.kind = kind, .lines = {}};
    while (!atEnd() && line().starts_with(prefix))
        block.lines.push_back(readText(line().substr(prefix.size()), true));
    if (m_entry)
        m_entry->notes.push_back(std::move(block));
    else
        fail("a list or a table outside an entry");
    return true;
}

void Parser::readParagraph() {
    std::string text = readText(line(), false);
    if (!m_entry)
        m_section.introduction += (m_section.introduction.empty() ? "" : "\n") + text;
    else if (m_entry->summary.empty())
        m_entry->summary = std::move(text);
    else
        m_entry->notes.push_back({.kind = Block::Kind::Paragraph, .lines = {std::move(text)}});
}

std::string Parser::readText(std::string_view first, bool indented) {
    std::string text(first);
    for (++m_next; !atEnd() && !line().empty(); ++m_next) {
        std::string_view more = line();
        if (indented ? !take(more, "  ")
                     : !std::isalnum(static_cast<unsigned char>(more[0])) && more[0] != '`' &&
                           more[0] != '(')
            break;
        text.append(" ").append(more);
    }
    return text;
}

} // namespace

platform::Result<Section> parseSection(std::string_view text) {
    return Parser(text).parse();
}

} // namespace help
