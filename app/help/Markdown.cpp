// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "app/help/Markdown.h"

#include "app/help/Words.h"

#include <algorithm>
#include <utility>

namespace help {
namespace {

std::string fenced(std::string_view text, std::string_view language) {
    std::string markdown("```");
    markdown.append(language).append("\n").append(text);
    return markdown.append("```\n\n");
}

std::string table(const std::vector<std::string>& rows) {
    std::string markdown;
    for (const std::string& row : rows) {
        markdown += "| " + row + (row.ends_with("|") ? "\n" : " |\n");
        if (&row != &rows.front())
            continue;
        for (std::size_t column = 0; column < split(row, " | ").size(); ++column)
            markdown += "|---";
        markdown += "|\n";
    }
    return markdown + '\n';
}

std::string note(const Block& block) {
    std::string markdown;
    switch (block.kind) {
    case Block::Kind::Paragraph:
        return block.lines.front() + "\n\n";
    case Block::Kind::List:
        for (const std::string& item : block.lines)
            markdown += "- " + item + '\n';
        return markdown + '\n';
    case Block::Kind::Table:
        return table(block.lines);
    case Block::Kind::Code:
    case Block::Kind::Claims:
        for (const std::string& line : block.lines)
            markdown += line + '\n';
        return fenced(markdown, block.kind == Block::Kind::Claims ? "metal" : "");
    }
    return markdown;
}

/// Titles are anchors by their own text, so links go to an anchor of ours that never changes.
std::string anchor(std::string_view id) {
    return "<a id=\"" + std::string(id) + "\"></a>\n\n";
}

std::string parameters(const Entry& entry) {
    std::string markdown;
    for (const auto& [name, text] : entry.parameters)
        markdown.append("- `").append(name).append("`: ").append(text).append("\n");
    if (!entry.returns.empty())
        markdown += "- returns " + entry.returns + '\n';
    return markdown.empty() ? markdown : markdown + '\n';
}

std::string links(const HelpReference& reference, const Entry& entry) {
    std::string markdown;
    for (const std::string& id : entry.seeAlso) {
        if (const Entry* const other = reference.find(id))
            markdown.append(markdown.empty() ? "See also: " : ", ")
                .append("[" + other->title + "](#" + other->id + ")");
    }
    return markdown.empty() ? markdown : markdown + "\n\n";
}

std::string page(const HelpReference& reference, const Entry& entry) {
    std::string markdown =
        anchor(entry.id) + "#### " + entry.title + "\n\n" + entry.summary + "\n\n";
    std::string declarations;
    for (const std::string& declaration : entry.declarations)
        declarations += declaration + '\n';
    if (!declarations.empty())
        markdown += fenced(declarations, "metal");
    markdown += parameters(entry);
    for (const Block& block : entry.notes)
        markdown += note(block);
    if (!entry.example.empty())
        markdown += fenced(entry.example, "metal");
    return markdown + links(reference, entry);
}

std::string contents(const HelpReference& reference) {
    std::string markdown;
    for (const Section& section : reference.sections()) {
        markdown += "- [" + section.title + "](#" + section.id + "):";
        for (const Entry& entry : section.entries)
            markdown.append(&entry == &section.entries.front() ? " " : ", ")
                .append("[" + entry.title + "](#" + entry.id + ")");
        markdown += '\n';
    }
    return markdown + '\n';
}

} // namespace

std::string toMarkdown(const HelpReference& reference) {
    std::string markdown = "# Reference\n\n"
                           "This page is made from the texts of the built-in help, which are in "
                           "`app/help/text`: change those, then run\n"
                           "`./test --update-goldens -R help_tests`.\n\n" +
                           contents(reference);
    for (const Section& section : reference.sections()) {
        markdown += anchor(section.id) + "## " + section.title + "\n\n";
        for (const std::string_view paragraph : split(section.introduction, "\n"))
            markdown.append(paragraph).append("\n\n");
        std::string_view group;
        for (const Entry& entry : section.entries) {
            if (std::exchange(group, entry.group) != entry.group)
                markdown += "### " + entry.group + "\n\n";
            markdown += page(reference, entry);
        }
    }
    markdown.pop_back(); // one line end is enough
    return markdown;
}

} // namespace help
