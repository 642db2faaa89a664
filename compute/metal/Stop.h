// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// How a compilation is ended from within Clang's own loops.
#pragma once

#include <clang/Basic/SourceLocation.h>

#include <string>

namespace clang {
class DiagnosticsEngine;
} // namespace clang

namespace compute::metal {

/// Reports why the compilation ends, once: what is wrong after that is not said any more, and no
/// template is instantiated.
void stop(clang::DiagnosticsEngine& diagnostics, clang::SourceLocation location,
          const std::string& reason);

} // namespace compute::metal
