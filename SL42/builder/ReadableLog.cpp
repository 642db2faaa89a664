// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/builder/ReadableLog.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <string_view>
#include <vector>

namespace starloom {
namespace {

constexpr std::string_view compilersName = "program_source:";

/// What tells of the course of a compilation, and not of the program.
bool isNarration(std::string_view line) {
    return line.empty() || line == "Done." || line == "Compilation failed:" ||
           line.starts_with("Compiling ") || line.ends_with(" generated.");
}

/// The number at the front, taken off.
std::optional<std::size_t> takeNumber(std::string_view& text) {
    std::size_t number = 0;
    const auto parsed = std::from_chars(text.data(), text.data() + text.size(), number);
    if (parsed.ec != std::errc())
        return std::nullopt;
    text.remove_prefix(static_cast<std::size_t>(parsed.ptr - text.data()));
    return number;
}

/// "  675 |     code", the number right-aligned as before.
std::optional<std::string> excerptIn(std::string_view line, std::size_t linesBefore) {
    const auto digits = line.find_first_not_of(' ');
    if (digits == line.npos)
        return std::nullopt;
    std::string_view rest = line.substr(digits);
    const auto number = takeNumber(rest);
    if (!number || *number <= linesBefore || !rest.starts_with(" |"))
        return std::nullopt;
    const std::string shown = std::to_string(*number - linesBefore);
    const std::size_t width = line.size() - rest.size();
    return std::string(width - shown.size(), ' ') + shown + std::string(rest);
}

std::string inFile(std::string_view line, const std::string& file, std::size_t linesBefore) {
    if (auto excerpt = excerptIn(line, linesBefore))
        return *std::move(excerpt);
    std::string result;
    for (;;) {
        const auto at = line.find(compilersName);
        if (at == line.npos)
            return result.append(line);
        result.append(line.substr(0, at));
        line.remove_prefix(at + compilersName.size());
        const auto number = takeNumber(line);
        if (!number)
            result.append(compilersName);
        else if (*number > linesBefore)
            result.append(file + ":" + std::to_string(*number - linesBefore));
        else
            result.append("prelude:" + std::to_string(*number));
    }
}

/// A message in the prelude, and the note behind it that tells of the call, become one.
void moveToCalls(std::vector<std::string>& messages) {
    for (std::size_t note = 1; note < messages.size(); ++note) {
        const auto misuse = misuseIn(messages[note]);
        const auto word = messages[note].find("note: ");
        if (!misuse || word == std::string::npos || !messages[note - 1].starts_with("prelude:"))
            continue;
        const auto end = messages[note].find('\n');
        messages[note].replace(word, end - word, "error: " + *misuse);
        messages[note - 1].clear();
    }
}

} // namespace

std::optional<std::string> misuseIn(std::string_view line) {
    constexpr std::string_view words =
        "in instantiation of function template specialization 'SL42::";
    const auto begin = line.find(words);
    if (begin == line.npos)
        return std::nullopt;
    line.remove_prefix(begin + words.size());
    const auto open = line.find('<');
    const auto close = line.find(">'");
    if (open == line.npos || close == line.npos || close < open)
        return std::nullopt;
    return "'" + std::string(line.substr(0, open)) + "' cannot be used with '" +
           std::string(line.substr(open + 1, close - open - 1)) + "'";
}

std::string readableLog(const std::string& log, const std::string& file, std::size_t linesBefore) {
    std::vector<std::string> messages;
    for (std::string_view rest = log; !rest.empty();) {
        const std::string_view line = rest.substr(0, rest.find('\n'));
        rest.remove_prefix(std::min(rest.size(), line.size() + 1));
        if (isNarration(line))
            continue;
        if (messages.empty() || !line.starts_with(' ')) // excerpts are indented
            messages.emplace_back();
        messages.back() += inFile(line, file, linesBefore) + "\n";
    }
    moveToCalls(messages);
    std::string readable;
    for (auto message = messages.begin(); message != messages.end(); ++message)
        if (std::find(messages.begin(), message, *message) == message)
            readable += *message;
    return readable;
}

} // namespace starloom
