// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The texts of the folder text/, each without the comment that it opens with. The build generates
// the definitions.
#pragma once

#include <string_view>

namespace help::helpText {

extern const std::string_view firstSteps;
extern const std::string_view functions;
extern const std::string_view values;
extern const std::string_view hardware;
extern const std::string_view language;
extern const std::string_view recipes;

} // namespace help::helpText
