// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// How Clang is set up to read the shading language: options, words that become keywords, words
// that are refused, and the files that an `#include` can see.
#pragma once

#include <llvm/ADT/IntrusiveRefCntPtr.h>
#include <llvm/ADT/StringRef.h>
#include <llvm/Support/MemoryBufferRef.h>

#include <memory>
#include <optional>
#include <string>

namespace clang {
class CompilerInvocation;
class DiagnosticsEngine;
class Preprocessor;
} // namespace clang
namespace llvm::vfs {
class FileSystem;
} // namespace llvm::vfs

namespace compute::metal {

/// What messages call the program's text.
inline constexpr const char* sourceName = "program_source";

/// The text that the precompiled library is made from. Clang looks for it again when it uses that.
inline constexpr const char* librarySourceName = "library_source";
extern const char* const librarySource;

/// A text to compile and the name that messages call it by.
struct Source {
    const char* name = sourceName;
    llvm::StringRef text;
};

/// The language's options. `precompiled` says whether the file system holds a precompiled library.
std::shared_ptr<clang::CompilerInvocation> makeInvocation(clang::DiagnosticsEngine& diagnostics,
                                                          const Source& source, bool precompiled);

/// The files that all programs share: the embedded library headers, and the library in precompiled
/// form if given, which must outlive them. To be made once, since it reads through all of them.
llvm::IntrusiveRefCntPtr<llvm::vfs::FileSystem>
makeLibraryFiles(std::optional<llvm::MemoryBufferRef> precompiled);

/// The only files there are: the program and those of the library.
llvm::IntrusiveRefCntPtr<llvm::vfs::FileSystem>
makeFileSystem(const Source& source, llvm::IntrusiveRefCntPtr<llvm::vfs::FileSystem> library);

/// Teaches the preprocessor the language's own words and the words of C++ that it refuses.
void defineWords(clang::Preprocessor& preprocessor);

} // namespace compute::metal
