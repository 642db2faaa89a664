// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/spirv/passes/Loops.h"

#include <llvm/IR/Dominators.h>
#include <llvm/Transforms/Utils/LoopUtils.h>

namespace compute::spirv {

void forEachLoop(Lowering& lowering,
                 llvm::function_ref<void(llvm::Loop& loop, llvm::LoopInfo& loops)> visit) {
    for (llvm::Function& function : lowering.module) {
        if (function.isDeclaration())
            continue;
        llvm::DominatorTree dominators(function);
        llvm::LoopInfo loops(dominators);
        for (llvm::Loop* loop : loops)
            llvm::formLCSSARecursively(*loop, dominators, &loops, nullptr);
        for (llvm::Loop* loop : loops.getLoopsInPreorder())
            visit(*loop, loops);
        lowering.analyses.forget(function);
    }
}

bool hasAny(const llvm::Loop& loop, bool (llvm::Instruction::*property)() const) {
    return llvm::any_of(loop.blocks(), [&](const llvm::BasicBlock* block) {
        return llvm::any_of(*block, [&](const llvm::Instruction& instruction) {
            return (instruction.*property)();
        });
    });
}

bool readsMemory(const llvm::Loop& loop) {
    return hasAny(loop, &llvm::Instruction::mayReadFromMemory);
}

} // namespace compute::spirv
