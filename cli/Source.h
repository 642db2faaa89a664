// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The program that a command works on.
#pragma once

#include "platform/base/Result.h"

#include <string>

namespace cli {

/// A program text and the name that it goes by in messages.
struct Source {
    std::string title;
    std::string text;
};

/// What the help says of the argument.
inline constexpr const char* sourceHelp = "Program text or document, or - for standard input";

/// Reads program text or a document from a file, or from standard input when `path` is "-". A
/// document is known by its ending or, under any other name, by its contents. The error is one line
/// that names the file; text that is neither, or longer than a program can be, is an error. Stops
/// the program when a file with the ending of documents holds none.
platform::Result<Source> readSource(const std::string& path);

/// The same for a program that is to be run: one whose song a console could not play is an error,
/// too.
platform::Result<Source> readProgram(const std::string& path);

/// What messages about a source call it: the path as it was given, or the standard input.
std::string nameOf(const std::string& path, const Source& source);

/// The same as readSource(), but stops the program when it is not a document.
platform::Result<Source> readDocumentSource(const std::string& path);

} // namespace cli
