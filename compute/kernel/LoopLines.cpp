// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/kernel/LoopLines.h"

#include <llvm/IR/DebugInfoMetadata.h>
#include <llvm/IR/Instructions.h>

namespace compute::kernel {
namespace {

/// No instruction has a column of its own, so this one can say that a loop begins in the line.
constexpr unsigned loopColumn = 1;

} // namespace

void noteBegin(const llvm::Loop& loop) {
    const llvm::DebugLoc start = loop.getStartLoc();
    if (!start || start.getLine() == 0)
        return;
    const llvm::DebugLoc begin =
        llvm::DILocation::get(loop.getHeader()->getContext(), start.getLine(), loopColumn,
                              start.getScope(), start.getInlinedAt());
    llvm::SmallVector<llvm::BasicBlock*> latches;
    loop.getLoopLatches(latches);
    for (llvm::BasicBlock* latch : latches)
        latch->getTerminator()->setDebugLoc(begin);
}

bool saysWhereLoopBegins(const llvm::DebugLoc& line) {
    return line && line.getCol() == loopColumn;
}

llvm::DebugLoc beginOf(const llvm::Loop& loop) {
    llvm::SmallVector<llvm::BasicBlock*> latches;
    loop.getLoopLatches(latches);
    for (const llvm::BasicBlock* latch : latches)
        if (const llvm::DebugLoc& line = latch->getTerminator()->getDebugLoc();
            saysWhereLoopBegins(line))
            return line;
    return {};
}

} // namespace compute::kernel
