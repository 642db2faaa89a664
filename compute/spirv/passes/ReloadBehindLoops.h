// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What a loop loads and code behind it uses is loaded once more behind the loop, if nothing is
// written in there. Mesa's software driver (llvmpipe, seen with 22.3) runs a loop until the last of
// its threads leaves, and has zeros by then where threads that left earlier had loaded something.
// What is computed from it is lost, too; all else is not, for it is computed anew from the same
// phis. Elsewhere it costs one load a loop. Needs loops with one exit.
#pragma once

#include "compute/spirv/passes/Lowering.h"

namespace compute::spirv {

/// Never fails.
platform::Result<void> reloadBehindLoops(Lowering& lowering);

} // namespace compute::spirv
