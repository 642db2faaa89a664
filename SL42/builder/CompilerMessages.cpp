// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/builder/CompilerMessages.h"

#include "SL42/builder/Misuse.h"
#include "platform/Lines.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <functional>
#include <iterator>
#include <utility>

namespace starloom {
namespace {

using Severity = CompilerMessage::Severity;

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

/// A message as it stands in the log, with the compiler's own place.
struct LoggedMessage {
    CompilerMessage message;
    std::optional<ProgramPlace> place;
};

/// "program_source:LINE:COLUMN" anywhere in a line, with what follows; the column may be missing.
struct Position {
    ProgramPlace place;
    std::string_view rest;
};
std::optional<Position> positionIn(std::string_view line) {
    const auto at = line.find(compilersName);
    if (at == line.npos)
        return std::nullopt;
    line.remove_prefix(at + compilersName.size());
    const auto number = takeNumber(line);
    if (!number || !line.starts_with(':'))
        return std::nullopt;
    line.remove_prefix(1);
    const auto column = takeNumber(line);
    if (!column)
        return std::nullopt;
    return Position{{*number, *column}, line};
}

struct Word {
    std::string_view word;
    Severity severity;
};
constexpr std::array severities{
    Word{"error: ", Severity::Error}, Word{"fatal error: ", Severity::Error},
    Word{"warning: ", Severity::Warning}, Word{"note: ", Severity::Note}};

/// A message begins with its severity, behind a position or at the start of the line.
std::optional<LoggedMessage> messageIn(std::string_view line) {
    const auto position = positionIn(line);
    std::string_view rest = position ? position->rest : line;
    if (position && rest.starts_with(": "))
        rest.remove_prefix(2);
    for (const auto& [word, severity] : severities)
        if (rest.starts_with(word)) {
            LoggedMessage logged{{.severity = severity,
                                  .place = {},
                                  .text = std::string(rest.substr(word.size())),
                                  .excerpt = {},
                                  .notes = {}},
                                 {}};
            if (position)
                logged.place = position->place;
            return logged;
        }
    return std::nullopt;
}

/// "  675 |     code" without the number, which the place has.
std::string excerptOf(std::string_view line) {
    const auto bar = line.find('|');
    return std::string(bar == line.npos ? line : line.substr(bar));
}

/// What a stage failed with when the compiler has not said why.
bool isFailure(std::string_view line) {
    return line.find("ailed") != line.npos || line.starts_with("Couldn't find ");
}

class LogReader {
public:
    explicit LogReader(const ProgramSpan& span) : m_span(span) {}

    std::vector<CompilerMessage> read(std::string_view log) {
        for (const std::string_view line : platform::linesOf(log))
            readLine(line);
        finish();
        return sorted();
    }

private:
    void readLine(std::string_view line) {
        if (isNarration(line))
            return;
        if (line.starts_with(' ')) { // excerpts are indented
            if (CompilerMessage* last = lastMessage())
                last->excerpt.push_back(excerptOf(line));
        } else if (auto logged = messageIn(line)) {
            add(*std::move(logged));
        } else {
            finish();
            (isFailure(line) ? m_failure : m_remark) = line;
        }
    }

    CompilerMessage* lastMessage() {
        if (m_current.empty())
            return nullptr;
        return &m_current.back().message;
    }

    void add(LoggedMessage logged) {
        if (logged.message.severity != Severity::Note)
            finish();
        else if (m_current.empty())
            return; // a note on nothing
        logged.message.place = placeOf(logged);
        m_current.push_back(std::move(logged));
    }

    std::optional<ProgramPlace> placeOf(const LoggedMessage& logged) const {
        if (!logged.place || logged.place->line <= m_span.before ||
            (m_span.count > 0 && logged.place->line > m_span.before + m_span.count))
            return std::nullopt;
        return ProgramPlace{logged.place->line - m_span.before, logged.place->column};
    }

    /// One message with its notes is complete.
    void finish() {
        if (m_current.empty())
            return;
        CompilerMessage message = std::move(m_current.front().message);
        const bool isForeign = m_current.front().place && !message.place;
        if (isForeign && m_span.count > 0 && m_current.front().place->line > m_span.before) {
            message.place = ProgramPlace{m_span.count, 1}; // noticed behind the program
            message.excerpt.clear();
        }
        bool isMoved = false;
        for (auto logged = std::next(m_current.begin()); logged != m_current.end(); ++logged) {
            CompilerMessage& note = logged->message;
            if (!note.place)
                continue; // nobody can change what stands there
            const auto cause = isForeign && !isMoved ? causeIn(note.text) : std::nullopt;
            if (cause) {
                note.severity = message.severity;
                note.text = *cause;
                message = std::move(note);
                isMoved = true;
            } else if (!isForeign || isMoved) {
                message.notes.push_back(std::move(note));
            }
        }
        m_current.clear();
        auto& list = isForeign && !isMoved ? m_foreign : m_messages;
        if (std::ranges::find(list, message) == list.end())
            list.push_back(std::move(message));
    }

    static bool isError(const CompilerMessage& message) {
        return message.severity == Severity::Error;
    }

    std::vector<CompilerMessage> sorted() {
        // What is wrong around the program follows from what is wrong in it.
        if (std::ranges::none_of(m_messages, isError)) {
            const auto first = std::ranges::find_if(m_foreign, isError);
            if (first != m_foreign.end())
                m_messages.push_back(*first);
        }
        if (!m_failure.empty() && std::ranges::none_of(m_messages, isError))
            m_messages.push_back({.severity = Severity::Error,
                                  .place = {},
                                  .text = m_failure,
                                  .excerpt = {},
                                  .notes = {}});
        if (!m_remark.empty() && m_messages.empty())
            m_messages.push_back({.severity = Severity::Note,
                                  .place = {},
                                  .text = m_remark,
                                  .excerpt = {},
                                  .notes = {}});
        std::vector<CompilerMessage> sorted;
        std::ranges::copy_if(m_messages, std::back_inserter(sorted), isError);
        std::ranges::copy_if(m_messages, std::back_inserter(sorted), std::not_fn(isError));
        return sorted;
    }

    const ProgramSpan m_span;
    std::vector<LoggedMessage> m_current; ///< a message and the notes behind it
    std::vector<CompilerMessage> m_messages;
    std::vector<CompilerMessage> m_foreign; ///< in the prelude, or behind the program
    std::string m_failure;
    std::string m_remark;
};

const char* nameOf(Severity severity) {
    switch (severity) {
    case Severity::Error:
        return "error: ";
    case Severity::Warning:
        return "warning: ";
    case Severity::Note:
        return "note: ";
    }
    return "";
}

/// The line of a place, with a caret below it; nothing if the program has no such line.
std::vector<std::string> excerptAt(const ProgramPlace& place, std::string_view program) {
    std::size_t number = 0;
    for (const std::string_view line : platform::linesOf(program))
        if (++number == place.line && place.column <= line.size()) {
            std::string caret = "| ";
            for (const char c : line.substr(0, place.column - 1))
                caret += c == '\t' ? '\t' : ' ';
            return {"| " + std::string(line), caret + "^"};
        }
    return {};
}

void print(const CompilerMessage& message, const std::string& file, std::string_view program,
           std::string& output) {
    const std::string line = message.place ? std::to_string(message.place->line) : "";
    output += file + ":";
    if (message.place)
        output += line + ":" + std::to_string(message.place->column) + ":";
    output += std::string(" ") + nameOf(message.severity) + message.text + "\n";
    bool isFirst = true;
    if (message.place)
        for (const std::string& excerpt :
             message.excerpt.empty() ? excerptAt(*message.place, program) : message.excerpt) {
            const std::size_t width = std::max<std::size_t>(line.size(), 5);
            output += std::string(isFirst ? width - line.size() : width, ' ') +
                      (isFirst ? line : "") + " " + excerpt + "\n";
            isFirst = false;
        }
    for (const CompilerMessage& note : message.notes)
        print(note, file, program, output);
}

} // namespace

std::optional<ProgramPlace> placeIn(std::string_view logLine, std::size_t linesBefore) {
    const auto position = positionIn(logLine);
    if (!position || position->place.line <= linesBefore)
        return std::nullopt;
    return ProgramPlace{position->place.line - linesBefore, position->place.column};
}

std::vector<CompilerMessage> messagesIn(std::string_view log, const ProgramSpan& span) {
    return LogReader(span).read(log);
}

std::string readableMessages(const std::vector<CompilerMessage>& messages, const std::string& file,
                             std::string_view program) {
    std::string text;
    for (const CompilerMessage& message : messages)
        print(message, file, program, text);
    return text;
}

} // namespace starloom
