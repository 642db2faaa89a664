// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/builder/EntrySpelling.h"

#include "SL42/builder/ProgramLines.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <optional>

namespace starloom {
namespace {

/// The head of a function that may be meant as an entry function, as it is written in a line.
struct Head {
    std::size_t line = 0;
    std::size_t column = 0; ///< both count from 1
    std::string_view type;
    std::string_view name;
    std::string_view text;     ///< from the type up to the bracket that opens
    bool takesNothing = false; ///< "()", "( )" or "(void)"
    bool isSpeltRight = false; ///< "fx()" and the like, with nothing in between
};

struct Entry {
    std::string_view name;
    std::string_view rightHead;
    bool isFound = false;
};

bool isWord(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_';
}

bool equalsButForCase(std::string_view a, std::string_view b) {
    return std::ranges::equal(
        a, b, [](unsigned char x, unsigned char y) { return std::tolower(x) == std::tolower(y); });
}

std::size_t skipBlanks(std::string_view line, std::size_t at) {
    return std::min(line.find_first_not_of(whitespace, at), line.size());
}

/// The word that ends at `end`, which blanks may follow.
std::string_view wordBefore(std::string_view line, std::size_t end) {
    while (end > 0 && whitespace.find(line[end - 1]) != whitespace.npos)
        --end;
    std::size_t begin = end;
    while (begin > 0 && isWord(line[begin - 1]))
        --begin;
    return line.substr(begin, end - begin);
}

/// Whether a word can stand in front of a function's name in its declaration.
bool canBeType(std::string_view word) {
    constexpr std::array<std::string_view, 6> others{"return", "else", "do", "case", "goto", "new"};
    return !word.empty() && std::isdigit(static_cast<unsigned char>(word[0])) == 0 &&
           std::ranges::find(others, word) == others.end();
}

/// The head whose name stands at `at`, if it is one of `name` but for the case.
std::optional<Head> headAt(std::string_view line, std::size_t at, std::string_view name) {
    const std::string_view written = line.substr(at, name.size());
    if (!equalsButForCase(written, name) || (at > 0 && isWord(line[at - 1])))
        return std::nullopt;
    const std::string_view type = wordBefore(line, at);
    const std::size_t open = skipBlanks(line, at + name.size());
    if (!canBeType(type) || (open < line.size() && line[open] != '('))
        return std::nullopt;
    Head head;
    head.type = type;
    head.name = written;
    const auto begin = static_cast<std::size_t>(type.data() - line.data());
    head.column = begin + 1;
    constexpr std::size_t longest = 60; // as a quotation
    head.text = open - begin <= longest ? line.substr(begin, open - begin) : written;
    std::size_t inside = skipBlanks(line, open + 1);
    if (line.substr(inside).starts_with("void"))
        inside = skipBlanks(line, inside + 4);
    head.takesNothing = open == line.size() || line.substr(inside).starts_with(')');
    head.isSpeltRight = written == name && line.substr(at + name.size()).starts_with("()");
    return head;
}

bool isRightType(const Head& head, const Entry& entry) {
    return (head.type == "void") == entry.rightHead.starts_with("void");
}

/// Whether the function can be meant as the entry function. One with parameters is if its name is
/// spelt right: languages in which a picture's function is handed the position are common.
bool mayBeMeant(const Head& head, const Entry& entry) {
    if (entry.isFound)
        return head.isSpeltRight; // with another type
    return head.takesNothing || head.name == entry.name;
}

/// The first function that may be meant as this entry function; none if there is a right one.
std::optional<Head> findNearlyRight(std::string_view source, const Entry& entry) {
    std::optional<Head> near;
    bool isRight = false;
    forEachLine(source, [&](std::string_view line, std::size_t number) {
        line = line.substr(0, line.find("//"));
        for (std::size_t at = 0; at + entry.name.size() <= line.size(); ++at) {
            auto head = headAt(line, at, entry.name);
            if (!head)
                continue;
            head->line = number;
            isRight |= entry.isFound && head->isSpeltRight && isRightType(*head, entry);
            if (!near && mayBeMeant(*head, entry))
                near = head;
        }
    });
    return isRight ? std::nullopt : near;
}

/// Where the function stands by which other systems begin, in front of a message; empty if there is
/// none.
std::string foreignEntryPlace(std::string_view source, std::size_t linesBefore) {
    std::string place;
    forEachLine(source, [&](std::string_view line, std::size_t number) {
        for (const std::string_view head :
             {"void main(", "void mainImage(", "void draw(", "void setup(", "void loop(",
              "void update(", "int main(", "float4 main(", "vec4 main("})
            if (place.empty() && line.starts_with(head))
                place = "program_source:" + std::to_string(linesBefore + number) + ":1: ";
    });
    return place;
}

std::string reason(const Head& head, const Entry& entry) {
    const std::string right(entry.rightHead);
    if (!entry.isFound && head.isSpeltRight)
        return "fx() is not found on a line that has sfx(): give each a line of its own";
    return "\"" + std::string(head.text) + (head.takesNothing && head.isSpeltRight ? "()" : "(") +
           "\" is not spelt as an entry function: if it is meant to be one, write exactly \"" +
           right + "\"";
}

} // namespace

std::string entrySpellingWarnings(std::string_view source, const PreprocessedSource& found,
                                  std::size_t linesBefore) {
    const std::array<Entry, 3> entries{{{"cpu", "void cpu()", found.hasCPU},
                                        {"fx", "void fx()", found.hasVideo},
                                        {"sfx", "float2 sfx()", found.hasAudio}}};
    std::string warnings;
    for (const Entry& entry : entries)
        if (const auto head = findNearlyRight(source, entry))
            warnings += "program_source:" + std::to_string(linesBefore + head->line) + ":" +
                        std::to_string(head->column) + ": warning: " + reason(*head, entry) + "\n";
    if (warnings.empty() && !found.hasCPU && !found.hasVideo && !found.hasAudio)
        return foreignEntryPlace(source, linesBefore) +
               "warning: nothing to run: write \"void fx()\" for a picture, \"float2 sfx()\" for "
               "sound, or \"void cpu()\"\n";
    return warnings;
}

} // namespace starloom
