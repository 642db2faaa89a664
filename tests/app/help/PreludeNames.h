// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What the prelude declares for programs, read from its text.
#pragma once

#include <map>
#include <set>
#include <string>
#include <string_view>

namespace help {

/// Every name that programs can use, with its declarations in the form of normalized(). Enumerators
/// and names of keys have none of their own.
std::map<std::string, std::set<std::string>> preludeNames();

/// On one line, with single spaces.
std::string normalized(std::string_view declaration);

} // namespace help
