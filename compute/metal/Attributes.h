// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The attributes and address spaces that the shading language adds to C++. Clang parses them like
// its own; what they say is kept on the declaration as an annotation, which Reflection.h reads
// back.
#pragma once

#include <llvm/ADT/ArrayRef.h>
#include <llvm/ADT/StringRef.h>

namespace clang {
class AnnotateTypeAttr;
class Decl;
} // namespace clang

namespace compute::metal {

/// Makes Clang know the attributes. Call it before the first compilation; later calls do nothing.
void registerAttributes();

/// The annotation that attribute `name` left on `declaration`, or null.
const clang::AnnotateTypeAttr* findAttribute(const clang::Decl& declaration, llvm::StringRef name);

/// Whether attribute `name` is accepted and means nothing: it belongs to a stage that does not run
/// here (vertex, fragment, tile, mesh), or asks for what is done anyway.
bool isIgnoredAttribute(llvm::StringRef name);

} // namespace compute::metal
