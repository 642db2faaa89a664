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

/// Reads a file, or standard input when `path` is "-". The error is one line that names the file;
/// text that is not UTF-8 or longer than a program can be is an error.
platform::Result<Source> readSource(const std::string& path);

} // namespace cli
