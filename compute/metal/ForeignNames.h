// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Names that people bring along from other languages, and what they are called here.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace compute::metal {

/// The whole message about such a name; none when nobody knows what is meant.
std::optional<std::string> explainForeignName(std::string_view name);

} // namespace compute::metal
