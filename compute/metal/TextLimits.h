// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Bounds on a text that are checked before Clang sees it, because what Clang does about it neither
// ends soon nor can be stopped.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace compute::metal {

/// What is wrong with the text; nothing when it can be read.
std::optional<std::string> findTextFault(std::string_view source);

} // namespace compute::metal
