// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// One run of the compiler over one text, given the precompiled library. Frontend.h is this with the
// library that is embedded in the binary; the tool that makes that library uses it without one.
#pragma once

#include "compute/kernel/Program.h"
#include "platform/base/Result.h"

#include <llvm/Support/VirtualFileSystem.h>

#include <string>
#include <string_view>

namespace compute::metal {

/// The standard library in the form that Clang reads fastest, and as headers. Immutable.
class PrecompiledLibrary {
public:
    /// `data` is aligned to 8 bytes and lives as long as this; `compiler` is the compilerIdentity()
    /// of the Clang that made it.
    PrecompiledLibrary(std::string_view data, std::string_view compiler);
    PrecompiledLibrary(const PrecompiledLibrary&) = delete;
    PrecompiledLibrary& operator=(const PrecompiledLibrary&) = delete;

    /// The precompiled form fits one build of Clang only; with another the headers are parsed.
    bool isUsable() const { return m_isUsable; }
    const llvm::IntrusiveRefCntPtr<llvm::vfs::FileSystem>& files() const { return m_files; }

private:
    bool m_isUsable;
    llvm::IntrusiveRefCntPtr<llvm::vfs::FileSystem> m_files;
};

/// Names the Clang that is loaded, so that a precompiled library of another one is not used.
std::string compilerIdentity();

/// Compiles on a thread of its own, which has the stack that deeply nested texts need.
platform::Result<kernel::Program> compile(std::string_view source,
                                          const PrecompiledLibrary& library);

/// Parses `#include <metal_stdlib>` and returns its precompiled form.
platform::Result<std::string> precompileLibrary();

} // namespace compute::metal
