// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Reading program texts, and the little that the console needs to know about UTF-8.
#pragma once

#include "platform/base/Result.h"

#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>

namespace platform {

/// Longer files than this are no program texts: 16 MiB.
inline constexpr std::size_t maxTextFileLength = std::size_t{16} << 20;

/// The whole of an ordinary file. Fails, with a message that names the file, when it cannot be
/// read, is no ordinary file, is too long or is not valid UTF-8. A byte order mark is left out.
Result<std::string> readTextFile(const std::filesystem::path& path);

/// Some editors put the mark (U+FEFF) in front of every text; no compiler wants it.
std::string_view withoutByteOrderMark(std::string_view text);

/// The same for any bytes of at most that length.
Result<std::string> readShortFile(const std::filesystem::path& path);

/// Checks for well-formed UTF-8: no overlong forms, surrogates or values above U+10FFFF.
bool isValidUtf8(std::string_view text);

/// Number of code points of a valid text.
std::size_t characterCount(std::string_view text);

} // namespace platform
