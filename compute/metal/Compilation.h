// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// One run of the compiler over one text, given the precompiled library. Frontend.h is this with the
// library that is embedded in the binary; the tool that makes that library uses it without one.
#pragma once

#include "compute/kernel/Program.h"
#include "platform/base/Result.h"

#include <string>
#include <string_view>

namespace compute::metal {

/// The standard library in the form that Clang reads fastest. Fits one build of Clang only.
struct PrecompiledLibrary {
    std::string_view data;     ///< aligned to 8 bytes
    std::string_view compiler; ///< compilerIdentity() of the Clang that made it
};

/// Names the Clang that is loaded, so that a precompiled library of another one is not used.
std::string compilerIdentity();

/// Compiles on a thread of its own, which has the stack that deeply nested texts need.
platform::Result<kernel::Program> compile(std::string_view source,
                                          const PrecompiledLibrary& library);

/// Parses `#include <metal_stdlib>` and returns its precompiled form.
platform::Result<std::string> precompileLibrary();

} // namespace compute::metal
