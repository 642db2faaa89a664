// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Texts of other programs, which may be anything.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace platform::x11 {

/// What textOf() is never longer than, in bytes.
inline constexpr std::size_t maximumTextLength = 512;

enum class Encoding {
    Utf8,
    Latin1, ///< or UTF-8, as many programs write in its place
};

/// As one line of well-formed UTF-8: what is not is replaced (by U+FFFD, control characters by
/// spaces), and what is too long is cut.
std::string textOf(std::string_view bytes, Encoding encoding);

} // namespace platform::x11
