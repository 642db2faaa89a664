// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Finds the bracket, string or comment that somebody forgot to close. The compiler notices such a
// thing only where nothing makes sense any more, often behind the end of the program.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace starloom {

struct BracketFault {
    std::size_t line = 0;
    std::size_t column = 0; ///< both count from 1
    std::string message;
    bool operator==(const BracketFault&) const = default;
};

/// The first one, where the indentation of the lines says it is most likely; none when all is
/// balanced, and when it cannot be known because text is left out or put in by the preprocessor.
std::optional<BracketFault> findBracketFault(std::string_view source);

/// The same as the compiler would print it, with `linesBefore` lines in front of the program; empty
/// for none.
std::string bracketError(std::string_view source, std::size_t linesBefore);

} // namespace starloom
