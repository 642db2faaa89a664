// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// How Clang is set up to read the shading language: options, words that become keywords, words
// that are refused, and the files that an `#include` can see.
#pragma once

#include <llvm/ADT/IntrusiveRefCntPtr.h>
#include <llvm/ADT/StringRef.h>
#include <llvm/Support/MemoryBufferRef.h>
#include <llvm/Support/VirtualFileSystem.h>

#include <memory>
#include <string>

namespace clang {
class CompilerInvocation;
class DiagnosticsEngine;
class Preprocessor;
} // namespace clang

namespace compute::metal {

/// What messages call the program's text.
inline constexpr const char* sourceName = "program_source";

/// Its file has another one, which no `#include` can spell: a text that includes itself would be
/// read there by other rules (LineMarkers.h).
inline constexpr const char* sourceFileName = "program\nsource";

/// The text that the precompiled library is made from. Clang looks for it again when it uses that.
inline constexpr const char* librarySourceName = "library_source";
extern const char* const librarySource;

using FileSystem = llvm::IntrusiveRefCntPtr<llvm::vfs::FileSystem>;

/// The files of the standard library. Immutable; any thread.
struct Library {
    FileSystem headers;
    /// The headers and the form that Clang reads fastest. Null when there is none that fits.
    FileSystem precompiled;
};

/// To be made once, since it reads through all of the library. `precompiled` may be null.
Library makeLibrary(std::unique_ptr<llvm::MemoryBuffer> precompiled);

/// The only files there are for one compilation: the program and those of the library.
FileSystem makeFileSystem(llvm::StringRef program, const Library& library);

/// The language's options, but for what is to be read. `precompiled` says whether the file system
/// holds a precompiled library.
std::shared_ptr<clang::CompilerInvocation> makeInvocation(clang::DiagnosticsEngine& diagnostics,
                                                          bool precompiled);

/// Teaches the preprocessor the language's own words and the words of C++ that it refuses.
void defineWords(clang::Preprocessor& preprocessor);

} // namespace compute::metal
