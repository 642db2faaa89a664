// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The end of the line: failures of the machine itself, which stop the program with a fixed message.
#pragma once

#include <string_view>

namespace platform {

/// Prints "Fatal error: " and the message as one line to standard error and aborts the process.
[[noreturn]] void fatalError(std::string_view message);

} // namespace platform
