// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Warnings about what compiles but is hardly meant: results that nobody uses, loops that count in
// steps which floating-point numbers cannot hold, unsigned numbers that are asked whether they are
// negative. Few and certain; a program that is right should not have to look at them.
#pragma once

#include <llvm/ADT/ArrayRef.h>

namespace clang {
class Decl;
class Sema;
} // namespace clang

namespace compute::metal {

/// Warns about the functions that the program itself defines, as it has written them.
void warnOfLikelyMistakes(clang::Sema& sema, llvm::ArrayRef<clang::Decl*> declarations);

} // namespace compute::metal
