// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What the compiler says about a program, out of the compile log: a list of messages at the places
// of the person's own text. The window and the command line both show this list.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace starloom {

/// A place in the program; both count from 1. The column counts bytes.
struct ProgramPlace {
    std::size_t line = 1;
    std::size_t column = 1;
    bool operator==(const ProgramPlace&) const = default;
};

/// Where the program's own lines stand in the text that the compiler has seen.
struct ProgramSpan {
    std::size_t before = 0; ///< lines of the prelude in front of it
    std::size_t count = 0;  ///< of the program; 0 if it is not known
};

struct CompilerMessage {
    enum class Severity { Error, Warning, Note };
    Severity severity = Severity::Error;
    std::optional<ProgramPlace> place; ///< none when it is not about a place in the program
    std::string text;
    /// The lines with code and caret below it, as the compiler prints them, but for the number.
    std::vector<std::string> excerpt;
    std::vector<CompilerMessage> notes;
    bool operator==(const CompilerMessage&) const = default;
};

/// The place that a line of the log points to, wherever "program_source:LINE:COLUMN" stands in it;
/// none when there is no such thing, or it lies in the prelude.
std::optional<ProgramPlace> placeIn(std::string_view logLine, std::size_t linesBefore);

/// The messages in a log, each once although several stages say it, errors first. What goes wrong
/// inside of the prelude is told where the program causes it; what an error at the end of the
/// program brings about behind it is left out, and so is the course of the compilation. A failure
/// without a message is one message without a place.
std::vector<CompilerMessage> messagesIn(std::string_view log, const ProgramSpan& span);

/// The same as a person, or an editor that jumps to errors, reads it: "FILE:LINE:COLUMN: error:
/// ..." with excerpts and carets. Those that the log does not have are taken from the program.
std::string readableMessages(const std::vector<CompilerMessage>& messages, const std::string& file,
                             std::string_view program = {});

} // namespace starloom
