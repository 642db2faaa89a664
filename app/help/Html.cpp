// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "app/help/Html.h"

#include "app/help/Words.h"

#include <algorithm>

namespace help {
namespace {

std::string escaped(std::string_view text) {
    std::string html;
    for (const char c : text) {
        switch (c) {
        case '&':
            html += "&amp;";
            break;
        case '<':
            html += "&lt;";
            break;
        case '>':
            html += "&gt;";
            break;
        case '"':
            html += "&quot;";
            break;
        default:
            html += c;
        }
    }
    return html;
}

std::string link(std::string_view scheme, const Entry& entry, std::string_view text) {
    return "<a href=\"" + std::string(scheme) + ':' + escaped(entry.id) + "\">" +
           std::string(text) + "</a>";
}

/// Calls `text` and `code` for the parts of prose outside and inside backticks.
template <class Text, class Code>
std::string inlines(std::string_view prose, const Text& text, const Code& code) {
    std::string html;
    bool inside = false;
    while (!prose.empty()) {
        const std::size_t end = std::min(prose.find('`'), prose.size());
        html += inside ? code(prose.substr(0, end)) : text(prose.substr(0, end));
        prose.remove_prefix(std::min(end + 1, prose.size()));
        inside = !inside;
    }
    return html;
}

std::string codeTag(std::string_view text) {
    return "<code>" + escaped(text) + "</code>";
}

/// Without links.
std::string plainProse(std::string_view text) {
    return inlines(text, escaped, codeTag);
}

class Page {
public:
    Page(const HelpReference& reference, const Entry& entry)
        : m_reference(reference), m_entry(entry) {}

    std::string html() const {
        return heading() + declarations() + parameters() + notes() + example() + links();
    }

private:
    /// Inline code becomes a link where it names another entry.
    std::string prose(std::string_view text) const {
        return inlines(text, escaped, [this](std::string_view code) { return inlineCode(code); });
    }

    std::string inlineCode(std::string_view text) const {
        const std::string html = codeTag(text);
        std::string_view name = text;
        if (name.ends_with("()"))
            name.remove_suffix(2);
        const Entry* const meant = m_reference.find(name);
        return meant && meant != &m_entry ? link("help", *meant, html) : html;
    }

    std::string heading() const {
        std::string path = m_entry.section;
        if (!m_entry.group.empty())
            path += " / " + m_entry.group;
        return "<p class=\"path\">" + escaped(path) + "</p><h1>" + escaped(m_entry.title) +
               "</h1><p class=\"summary\">" + prose(m_entry.summary) + "</p>";
    }

    std::string declarations() const {
        std::string html;
        for (const std::string& declaration : m_entry.declarations)
            html += "<pre class=\"declaration\">" + escaped(declaration) + "</pre>";
        return html;
    }

    std::string parameters() const {
        std::string rows;
        for (const auto& [name, text] : m_entry.parameters)
            rows +=
                "<tr><td><code>" + escaped(name) + "</code></td><td>" + prose(text) + "</td></tr>";
        if (!m_entry.returns.empty())
            rows += "<tr><td><i>returns</i></td><td>" + prose(m_entry.returns) + "</td></tr>";
        return rows.empty() ? rows
                            : "<table class=\"parameters\" cellpadding=\"4\">" + rows + "</table>";
    }

    std::string notes() const {
        std::string html;
        for (const Block& block : m_entry.notes)
            html += note(block);
        return html;
    }

    std::string note(const Block& block) const {
        std::string html;
        switch (block.kind) {
        case Block::Kind::Paragraph:
            return "<p>" + prose(block.lines.front()) + "</p>";
        case Block::Kind::List:
            for (const std::string& item : block.lines)
                html += "<li>" + prose(item) + "</li>";
            return "<ul>" + html + "</ul>";
        case Block::Kind::Table:
            return table(block.lines);
        case Block::Kind::Code:
        case Block::Kind::Claims:
            for (const std::string& line : block.lines)
                html += escaped(line) + '\n';
            return "<pre class=\"example\">" + html + "</pre>";
        }
        return html;
    }

    std::string table(const std::vector<std::string>& rows) const {
        std::string html;
        std::string_view cell = "th";
        for (const std::string& row : rows) {
            html += "<tr>";
            for (const std::string_view text : split(row, " | "))
                html.append("<")
                    .append(cell)
                    .append(" align=\"left\">")
                    .append(prose(text))
                    .append("</")
                    .append(cell)
                    .append(">");
            html += "</tr>";
            cell = "td";
        }
        return "<table cellpadding=\"4\">" + html + "</table>";
    }

    std::string example() const {
        if (m_entry.example.empty())
            return {};
        return "<h2>Example</h2><pre class=\"example\">" + escaped(m_entry.example) + "</pre><p>" +
               link("example", m_entry, "Open this example as a new document") + "</p>";
    }

    std::string links() const {
        std::string html;
        for (const std::string& id : m_entry.seeAlso) {
            if (const Entry* const other = m_reference.find(id))
                html += (html.empty() ? "" : ", ") + link("help", *other, escaped(other->title));
        }
        return html.empty() ? html : "<p class=\"links\">See also: " + html + "</p>";
    }

    const HelpReference& m_reference;
    const Entry& m_entry;
};

} // namespace

std::string toHtml(const HelpReference& reference, const Entry& entry) {
    return Page(reference, entry).html();
}

std::string toHtml(const Section& section) {
    std::string html = "<h1>" + escaped(section.title) + "</h1>";
    for (const std::string_view paragraph : split(section.introduction, "\n"))
        html += "<p>" + plainProse(paragraph) + "</p>";
    std::string_view group;
    html += "<table cellpadding=\"4\">";
    for (const Entry& entry : section.entries) {
        if (entry.group != group) {
            group = entry.group;
            html += "<tr><td colspan=\"2\"><h2>" + escaped(group) + "</h2></td></tr>";
        }
        html += "<tr><td>" + link("help", entry, escaped(entry.title)) + "</td><td>" +
                plainProse(entry.summary) + "</td></tr>";
    }
    return html + "</table>";
}

} // namespace help
