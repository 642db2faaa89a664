// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The text whose compressed size is a program's packed size.
#pragma once

#include <string>
#include <string_view>

namespace starloom {

/// Joins the lines of a program, without their comments and the white space around them; only lines
/// that begin with # keep their ends. It knows nothing of the language: // also ends a string
/// literal, and /* */ comments stay. So what comes out is for measuring and exporting, and need not
/// compile.
std::string minify(std::string_view source);

} // namespace starloom
