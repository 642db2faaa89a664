// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The precompiled standard library that the build puts into the binary.
#pragma once

#include "compute/metal/Compilation.h"

namespace compute::metal {

/// Made with the first call. Thread-safe.
const Library& embeddedLibrary();

} // namespace compute::metal
