// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A program can make a function of the prelude fail to compile. The compiler then speaks of a line
// that nobody can change; a note behind it tells where the program comes in.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace starloom {

/// What to say at the place of a note, when that is where the program went wrong: it calls a
/// function of the prelude with a type that this cannot take, or has a name that the prelude uses.
/// None for other notes.
std::optional<std::string> causeIn(std::string_view note);

} // namespace starloom
