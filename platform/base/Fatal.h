// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The end of the line: failures of the machine itself, which stop the program with a fixed message.
#pragma once

#include <span>
#include <string_view>

namespace platform {

/// Prints "Fatal error: " and the message as one line to standard error and aborts the process.
[[noreturn]] void fatalError(std::string_view message);

/// Has fatalError() also leave its message, as far as it fits, with a zero at its end, in memory
/// that the process does not take with it. Before there are threads; the memory must stay.
void keepFatalMessageIn(std::span<char> memory);

} // namespace platform
