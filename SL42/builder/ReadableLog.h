// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The compile log as a person, or an editor that jumps to errors, wants it: with the lines of the
// file that the person has written.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace starloom {

/// What to say when a function of the prelude does not compile for what a program calls it with:
/// "'poke32' cannot be used with 'float2'". `line` is the compiler's note about the call; none for
/// other lines.
std::optional<std::string> misuseIn(std::string_view line);

/// The messages in a compile log, each once although several stages say it, with their excerpts and
/// carets. Positions are "FILE:LINE:COLUMN" and count from the first line of the file, in front of
/// which the compiler has seen `linesBefore`; those in the prelude begin with "prelude:". What the
/// log says about the order of events is left out, and so is what went wrong inside of a function
/// of the prelude: the call is at fault.
std::string readableLog(const std::string& log, const std::string& file, std::size_t linesBefore);

} // namespace starloom
