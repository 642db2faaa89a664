// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Which pragmas of a text the compiler gets to see. Clang knows more than a hundred, some of which
// crash it on purpose, load modules or attach attributes to whatever follows.
#pragma once

#include <string>
#include <string_view>

namespace clang {
class Preprocessor;
} // namespace clang

namespace compute::metal {

/// From now on a pragma that reaches into the compiler is an error that ends the compilation, and
/// one that is not listed as harmless has no effect. In the library's own lines every pragma is
/// free, but not the operator _Pragma(), because there a macro of the program may have expanded to
/// it.
void guardPragmas(clang::Preprocessor& preprocessor);

/// The text with `#pragma METAL fp math_mode(safe)` and `fp contract(off)` as Clang says them, and
/// the same behind _Pragma. They hold to the end of the block, or of the text. No line moves.
std::string translateMathPragmas(std::string_view source);

} // namespace compute::metal
