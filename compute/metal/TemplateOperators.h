// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// `v.xy * v.zw` in a template, below an operator of the program's own: Clang keeps the operators
// that it saw for when the types are known, and then takes selected lanes, which are properties,
// for operands without reading them.
#pragma once

#include <clang/AST/DeclGroup.h>

namespace clang {
class ASTContext;
} // namespace clang

namespace compute::metal {

/// Makes such operations in templates ones whose operators are looked for once the types are known:
/// those of their operands' namespaces and classes are found then. Comes before the templates are
/// used.
void deferOperators(clang::ASTContext& context, clang::DeclGroupRef declarations);

} // namespace compute::metal
