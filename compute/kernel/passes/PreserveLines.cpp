// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/kernel/passes/PreserveLines.h"

#include "compute/kernel/LoopLines.h"

#include <llvm/Analysis/LoopInfo.h>
#include <llvm/IR/InstIterator.h>
#include <llvm/IR/Instructions.h>

namespace compute::kernel {
namespace {

bool hasLine(const llvm::Instruction& instruction) {
    return instruction.getDebugLoc() && instruction.getDebugLoc().getLine() != 0;
}

/// A pass that hoists an access out of a loop drops its line, because a debugger would jump back
/// and forth. What uses the value is mostly in the same line.
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

} // namespace

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
