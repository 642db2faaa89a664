// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// From a program to the text that the device compiles.
#pragma once

#include "SL42/builder/CompilerMessages.h"
#include "SL42/builder/Preprocessor.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace starloom {

/// The prelude with what the program can call of it, the program with its additions, and the
/// kernels that call it. They begin on a line of their own when the program ends in a comment.
std::string assembleProgram(std::string_view source, const PreprocessedSource& preprocessed);

/// How many lines of that text stand before the program's first one.
std::size_t linesBeforeProgram();

/// Where the program stands in that text.
ProgramSpan spanOf(std::string_view source);

} // namespace starloom
