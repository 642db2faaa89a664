// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/builder/BracketCheck.h"

#include "platform/Lines.h"

#include <algorithm>
#include <vector>

namespace starloom {
namespace {

constexpr std::string_view blanks = " \t\r";

char closingOf(char opening) {
    return opening == '(' ? ')' : opening == '[' ? ']' : '}';
}

std::string quoted(char bracket) {
    return std::string("'") + bracket + "'";
}

std::size_t indentationOf(std::string_view line) {
    return std::min(line.find_first_not_of(blanks), line.size());
}

/// Goes through the text once.
class BracketScan {
public:
    explicit BracketScan(std::string_view source) : m_lines(platform::linesOf(source)) {}

    std::optional<BracketFault> run() {
        for (m_line = 0; m_line < m_lines.size() && !m_fault && !m_isUnclear; ++m_line)
            scanLine(m_lines[m_line]);
        if (m_isUnclear)
            return std::nullopt;
        if (!m_fault && m_comment)
            m_fault = {m_comment->line + 1, m_comment->column + 1,
                       "this comment is never closed: a \"*/\" is missing"};
        if (!m_fault && !m_open.empty())
            m_fault = unclosed(m_suspect ? *m_suspect : m_open.back());
        return m_fault;
    }

private:
    struct Place {
        char bracket = 0;
        std::size_t line = 0; ///< from 0, like the column
        std::size_t column = 0;
    };

    void scanLine(std::string_view line) {
        const std::size_t begin = indentationOf(line);
        if (!m_comment && line.substr(begin).starts_with('#'))
            return scanDirective(line.substr(begin));
        for (std::size_t at = 0; at < line.size() && !m_fault; ++at) {
            const std::string_view rest = line.substr(at);
            if (m_comment) {
                if (rest.starts_with("*/")) {
                    m_comment.reset();
                    ++at;
                }
            } else if (rest.starts_with("//")) {
                return;
            } else if (rest.starts_with("/*")) {
                m_comment = {'*', m_line, at};
                ++at;
            } else if (rest[0] == '"' || rest[0] == '\'') {
                at = endOfLiteral(line, at);
            } else {
                scanBracket(rest[0], at);
            }
        }
    }

    // What is left out, or put in where a macro's name stands, may balance it all.
    void scanDirective(std::string_view directive) {
        directive.remove_prefix(std::min(directive.find_first_not_of(" \t#"), directive.size()));
        m_isUnclear =
            directive.starts_with("if") || directive.starts_with("el") || directive.ends_with('\\');
        for (const char opening : {'(', '[', '{'})
            m_isUnclear |= std::ranges::count(directive, opening) !=
                           std::ranges::count(directive, closingOf(opening));
    }

    std::size_t endOfLiteral(std::string_view line, std::size_t begin) {
        for (std::size_t at = begin + 1; at < line.size(); ++at) {
            if (line[at] == '\\')
                ++at;
            else if (line[at] == line[begin])
                return at;
        }
        if (line[begin] == '"') // one of the other kind may be a separator of digits
            m_fault = {m_line + 1, begin + 1,
                       "this text is not closed on its line: a '\"' is missing"};
        return begin;
    }

    void scanBracket(char character, std::size_t column) {
        const Place place{character, m_line, column};
        if (character == '(' || character == '[' || character == '{') {
            m_open.push_back(place);
        } else if (character == ')' || character == ']' || character == '}') {
            if (m_open.empty() || (character != '}' && m_open.back().bracket == '{'))
                m_fault = closesNothing(place);
            else if (closingOf(m_open.back().bracket) != character)
                m_fault = unclosed(m_open.back());
            else
                close(place);
        }
    }

    void close(const Place& place) {
        const Place opened = m_open.back();
        m_open.pop_back();
        const std::size_t indentation = indentationOf(m_lines[place.line]);
        if (place.bracket != '}' || indentation != place.column || opened.line == place.line)
            return;
        // A brace further left than the block that it ends was meant for a block around that.
        if (!m_suspect && indentation < indentationOf(m_lines[opened.line]))
            m_suspect = opened;
        if (!m_early && indentation > indentationOf(m_lines[opened.line]))
            m_early = place;
    }

    BracketFault unclosed(const Place& opened) const {
        const std::string closing = quoted(closingOf(opened.bracket));
        const std::size_t indentation = indentationOf(m_lines[opened.line]);
        std::size_t next = opened.line + 1;
        while (next < m_lines.size() && (indentationOf(m_lines[next]) > indentation ||
                                         indentationOf(m_lines[next]) == m_lines[next].size()))
            ++next;
        const std::string where = opened.bracket != '{' ? " is missing"
                                  : next < m_lines.size()
                                      ? " is missing before line " + std::to_string(next + 1)
                                      : " is missing at the end";
        return {opened.line + 1, opened.column + 1,
                "this " + quoted(opened.bracket) + " is never closed: a " + closing + where};
    }

    BracketFault closesNothing(const Place& place) const {
        const Place& likely = m_early && place.bracket == '}' ? *m_early : place;
        return {likely.line + 1, likely.column + 1,
                "this " + quoted(likely.bracket) + " is one too many"};
    }

    const std::vector<std::string_view> m_lines;
    std::size_t m_line = 0;
    std::vector<Place> m_open;
    std::optional<Place> m_comment;
    std::optional<Place> m_suspect; ///< the first block that another one's brace seems to close
    std::optional<Place> m_early;   ///< the first brace that is further right than its block
    std::optional<BracketFault> m_fault;
    bool m_isUnclear = false;
};

} // namespace

std::optional<BracketFault> findBracketFault(std::string_view source) {
    return BracketScan(source).run();
}

std::string bracketError(std::string_view source, std::size_t linesBefore) {
    const auto fault = findBracketFault(source);
    if (!fault)
        return {};
    const std::string line(platform::linesOf(source)[fault->line - 1]);
    const std::string number = std::to_string(linesBefore + fault->line);
    return "program_source:" + number + ":" + std::to_string(fault->column) +
           ": error: " + fault->message + "\n " + number + " | " + line + "\n " +
           std::string(number.size(), ' ') + " | " + std::string(fault->column - 1, ' ') + "^\n";
}

} // namespace starloom
