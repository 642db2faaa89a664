// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Keeps Clang from evaluating shifts and divisions whose result C++ leaves undefined: with constant
// operands it does so while it generates code, and what it then writes down is not the result that
// the language has for them. The kernel pipeline knows that result.
#pragma once

#include <llvm/ADT/ArrayRef.h>

namespace clang {
class Decl;
class Sema;
} // namespace clang

namespace compute::metal {

/// Hides amounts of shifts beyond the width, and the divisors 0 and -1, from constant folding.
/// Changes the syntax tree: comes after everything that checks it.
void hideUndefinedOperands(clang::Sema& sema, llvm::ArrayRef<clang::Decl*> declarations);

} // namespace compute::metal
