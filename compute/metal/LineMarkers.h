// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Line markers (#line 7 "name", # 7 "name" 3) are for texts that a tool made from another one. Here
// every line is where it stands: a message or fault elsewhere would mislead, and a marker can
// declare the lines behind it to be part of the library, of which less is asked.
#pragma once

namespace clang {
class Preprocessor;
} // namespace clang

namespace compute::metal {

/// Lets messages call the program's file by its proper name, and line markers have no effect. Wrong
/// ones still are errors.
void keepRealPlaces(clang::Preprocessor& preprocessor);

} // namespace compute::metal
