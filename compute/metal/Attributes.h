// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The attributes and storage words that the shading language adds to C++. Clang parses them like
// its own; what they say is kept on the declaration as an annotation, which Reflection.h reads
// back.
#pragma once

#include <llvm/ADT/ArrayRef.h>
#include <llvm/ADT/StringRef.h>

namespace clang {
class AnnotateAttr;
class Decl;
} // namespace clang

namespace compute::metal {

/// Makes Clang know the attributes. Call it before the first compilation; later calls do nothing.
void registerAttributes();

/// The annotation that attribute `name` left on `declaration`, or null.
const clang::AnnotateAttr* findAttribute(const clang::Decl& declaration, llvm::StringRef name);

/// Whether `name` belongs to a stage that does not run here (vertex, fragment, tile, mesh). Such
/// attributes are accepted and mean nothing, so that a text that also has kernels compiles.
bool isForeignStageAttribute(llvm::StringRef name);

/// Takes the annotations off again: code generation would turn them into intrinsic calls. That is
/// wanted only for local variables, so that the code shows which function has threadgroup memory.
void removeAnnotations(clang::Decl& declaration);

} // namespace compute::metal
