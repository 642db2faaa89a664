// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// How a loop remembers in which line of the program it begins, through all that happens to its
// blocks: its back edges have that line, marked by a column. Clang is told to give no columns.
#pragma once

#include <llvm/Analysis/LoopInfo.h>

namespace compute::kernel {

/// Marks the back edges of the loop with the line where it begins, if it is one of the program's.
void noteBegin(const llvm::Loop& loop);

/// Whether noteBegin() has put this line on a back edge.
bool saysWhereLoopBegins(const llvm::DebugLoc& line);

/// Where a loop begins, read from its back edges; empty for loops that are not the program's.
llvm::DebugLoc beginOf(const llvm::Loop& loop);

} // namespace compute::kernel
