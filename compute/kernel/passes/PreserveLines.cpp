// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/kernel/passes/PreserveLines.h"

#include <llvm/IR/DebugInfoMetadata.h>
#include <llvm/IR/InstIterator.h>
#include <llvm/IR/Instructions.h>

namespace compute::kernel {
namespace {

/// The front end gives no columns, so that one is free to mean: here begins the loop.
constexpr unsigned loopColumn = 1;

bool hasLine(const llvm::Instruction& instruction) {
    return instruction.getDebugLoc() && instruction.getDebugLoc().getLine() != 0;
}

/// A pass that moves an access out of a loop takes its line away, because a debugger would jump
/// back and forth. What the value is for mostly stands in the same line.
llvm::DebugLoc lineNear(const llvm::Instruction& access) {
    for (const llvm::User* user : access.users())
        if (const auto* other = llvm::dyn_cast<llvm::Instruction>(user); other && hasLine(*other))
            return other->getDebugLoc();
    for (const llvm::Value* operand : access.operands())
        if (const auto* other = llvm::dyn_cast<llvm::Instruction>(operand);
            other && hasLine(*other))
            return other->getDebugLoc();
    for (const llvm::Instruction* other = access.getNextNode(); other != nullptr;
         other = other->getNextNode())
        if (hasLine(*other))
            return other->getDebugLoc();
    return access.getDebugLoc();
}

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

} // namespace

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

platform::Result<void> preserveLines(PassContext& context) {
    for (llvm::Function* function : context.functions()) {
        for (llvm::Instruction& instruction : llvm::instructions(*function))
            if (instruction.mayReadOrWriteMemory() && !hasLine(instruction))
                instruction.setDebugLoc(lineNear(instruction));
        for (const llvm::Loop* loop : context.analyses.functions()
                                          .getResult<llvm::LoopAnalysis>(*function)
                                          .getLoopsInPreorder())
            noteBegin(*loop);
    }
    return {};
}

} // namespace compute::kernel
