// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The prelude as a program needs it: functions that the program cannot call are only declared.
// Reading what all of them do is most of the work in compiling a short program.
#pragma once

#include <string>
#include <string_view>

namespace starloom {

/// The prelude for a text that goes on with `rest`: the program and all behind it. A function keeps
/// its body if its name stands anywhere in there, or in such a body. Every line stays where it is.
std::string preludeFor(std::string_view rest);

} // namespace starloom
