// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What C++ allows and the shading language does not, as far as the syntax tree shows it: mutable
// globals, statics set at run time, deletes, computed jumps, arrays too large to be real, and the
// compiler's own extensions (attributes, functions, types), of which only harmless ones are let in.
#pragma once

#include <llvm/ADT/ArrayRef.h>

namespace clang {
class Decl;
class Sema;
} // namespace clang

namespace compute::metal {

/// Reports each fault in `declarations`, the program's top level, as an error where it is.
void checkRestrictions(clang::Sema& sema, llvm::ArrayRef<clang::Decl*> declarations);

} // namespace compute::metal
