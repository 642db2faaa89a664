// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The text that the console puts around every program: the prelude in front, the kernels behind.
// Most of it stands in the .metal files of this folder; here it is joined.
#pragma once

#include <string>
#include <string_view>

namespace starloom::SharedShaderStrings {

/// The screen's and the font's constants and the sampler for the font.
const std::string& processingHeader();

/// The whole prelude. Ends inside the open machine class, at the start of a line.
const std::string& standardProcessingHeader();

} // namespace starloom::SharedShaderStrings

namespace starloom::GPUShaderStrings {

/// The member function that turns a screen position into an index into screen memory.
const std::string& coordsToIndex();

/// coordsToIndex() and the member functions about coordinates that follow it.
const std::string& coordinateFunctions();

/// Closes the machine class and holds the kernels "processor", "video" and "audio".
std::string_view kernelTail();

} // namespace starloom::GPUShaderStrings
