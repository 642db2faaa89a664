// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A program as the device compiled it, or the compiler's message; what the stages take kernels
// from.
#pragma once

#include "gpu/Library.h"

#include <memory>
#include <string>

namespace starloom {

using LibraryResult = gpu::Result<std::shared_ptr<gpu::Library>>;

/// What the compile log says about a program that did not compile.
inline std::string compilationFailed(const LibraryResult& library) {
    return "Compilation failed:\n" + library.error().message;
}

} // namespace starloom
