// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Which pragmas of a text the compiler gets to see. Clang knows more than a hundred, some of which
// crash it on purpose, load modules or attach attributes to whatever follows.
#pragma once

namespace clang {
class Preprocessor;
} // namespace clang

namespace compute::metal {

/// From now on a pragma that reaches into the compiler is an error that ends the compilation, and
/// those that nobody listed as harmless have no effect. The lines of the library are free to use
/// all; what _Pragma() says is not, wherever it stands, since a macro of the program can be met
/// there.
void guardPragmas(clang::Preprocessor& preprocessor);

} // namespace compute::metal
