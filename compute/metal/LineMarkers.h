// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Line markers (#line 7 "name", # 7 "name" 3) are for texts that a tool made from another one. Here
// every line keeps its own number: a message with another one would mislead, and a marker could
// declare the lines behind it to be part of the library, for which fewer checks apply.
#pragma once

namespace clang {
class Preprocessor;
} // namespace clang

namespace compute::metal {

/// Has messages call the program's file by its proper name, and line markers have no effect.
/// Malformed ones are still errors.
void ignoreLineMarkers(clang::Preprocessor& preprocessor);

} // namespace compute::metal
