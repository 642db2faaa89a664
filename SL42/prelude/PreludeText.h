// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The contents of this folder's .metal files, without the comment that each opens with. The build
// generates the definitions (cmake/EmbedText.cmake).
#pragma once

#include <string_view>

namespace starloom::preludeText {

extern const std::string_view baseHeader;
extern const std::string_view audioTimer;
extern const std::string_view registers;
extern const std::string_view machineClass;
extern const std::string_view text;
extern const std::string_view timers;
extern const std::string_view rotate2d;
extern const std::string_view drawing;
extern const std::string_view memory;
extern const std::string_view random;
extern const std::string_view spectrum;
extern const std::string_view input;
extern const std::string_view kernelTail;
extern const std::string_view display;

} // namespace starloom::preludeText
