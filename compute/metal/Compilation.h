// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// One run of the compiler over one text, given the precompiled library. Frontend.h is this with the
// library that is embedded in the binary; the tool that makes that library uses it without one.
#pragma once

#include "compute/kernel/Program.h"
#include "compute/metal/Language.h"
#include "platform/base/Result.h"

#include <llvm/ADT/STLFunctionalExtras.h>

#include <cstddef>
#include <stop_token>
#include <string>
#include <string_view>

namespace compute::metal {

/// Names the Clang that is loaded, so that a precompiled library of another one is not used.
std::string compilerIdentity();

/// `precompiled` is aligned to 8 bytes and stays in place. Only used when its `compiler` is this
/// one: systems bring their Clang up to date without asking who was built with it, and none reads
/// what another has written. Then the library is precompiled once more, here.
Library makeLibrary(std::string_view precompiled, std::string_view compiler);

/// The compiler recurses with the nesting of the text; InputLimits.h keeps that within this.
inline constexpr std::size_t stackBytes = 128u << 20;

/// Blocks until `task` has run on a thread with such a stack.
void runOnLargeStack(llvm::function_ref<void()> task);

/// Compiles on the calling thread, which must have such a stack.
platform::Result<kernel::Program> compile(std::string_view source, Library library,
                                          const std::stop_token& stop);

/// Parses `#include <metal_stdlib>` and returns its precompiled form.
platform::Result<std::string> precompileLibrary();

} // namespace compute::metal
