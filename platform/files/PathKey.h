// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Names for what we keep about other people's files.
#pragma once

#include <filesystem>
#include <string>

namespace platform {

/// Sixteen hexadecimal digits that are the same for every spelling of a path, links included, and
/// different for different files, as far as 64 bits go.
std::string keyOf(const std::filesystem::path& file);

} // namespace platform
