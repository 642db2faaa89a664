// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Makes sure that every access, which may fault, and every loop, which may never end, still has its
// line in the program's text after optimisation.
#pragma once

#include "compute/kernel/Pass.h"

namespace compute::kernel {

/// Gives an access that has lost its line the one of a neighbour, and marks the back edge of each
/// loop with the line where the loop begins (LoopLines.h). Never fails.
platform::Result<void> preserveLines(PassContext& context);

} // namespace compute::kernel
