// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Sees to it that what may fault and what may never end still says where it stands in the
// program's text when optimisation is over.
#pragma once

#include "compute/kernel/Pass.h"

#include <llvm/Analysis/LoopInfo.h>

namespace compute::kernel {

/// Gives accesses that lost their line that of their neighbours, and has the branch at the end of
/// each loop's body say where the loop begins.
platform::Result<void> preserveLines(PassContext& context);

/// Whether an instruction's line is that of the beginning of the loop at whose end it stands.
bool saysWhereLoopBegins(const llvm::DebugLoc& line);
/// Where a loop begins, as preserveLines() noted it; empty for loops that are not the program's.
llvm::DebugLoc beginOf(const llvm::Loop& loop);

} // namespace compute::kernel
