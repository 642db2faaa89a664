// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The compile log as a person, or an editor that jumps to errors, wants it: with the lines of the
// file that the person has written.
#pragma once

#include <cstddef>
#include <string>

namespace starloom {

/// The messages in a compile log, each once although several stages say it, with their excerpts and
/// carets. Positions are "FILE:LINE:COLUMN" and count from the first line of the file, in front of
/// which the compiler has seen `linesBefore`; those in the prelude begin with "prelude:". What the
/// log says about the order of events is left out.
std::string readableLog(const std::string& log, const std::string& file, std::size_t linesBefore);

} // namespace starloom
