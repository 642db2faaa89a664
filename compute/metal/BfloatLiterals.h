// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Numbers that end in "bf". Clang takes only the endings that the language C++ names for those of
// operators, and among these no "bf", so such a number is read with one of the same length.
#pragma once

namespace clang {
class Preprocessor;
class Token;
} // namespace clang

namespace compute::metal {

/// Sees each token of the text before the parser does, and changes those. The library has the
/// operator (metal_bfloat).
void readBfloatLiteral(clang::Token& token, clang::Preprocessor& preprocessor);

} // namespace compute::metal
