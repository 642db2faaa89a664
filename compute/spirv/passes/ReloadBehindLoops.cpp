// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/spirv/passes/ReloadBehindLoops.h"

#include <llvm/Analysis/LoopInfo.h>
#include <llvm/IR/Dominators.h>
#include <llvm/IR/Instructions.h>
#include <llvm/Transforms/Utils/LoopUtils.h>

namespace compute::spirv {
namespace {

bool writes(const llvm::Loop& loop) {
    for (const llvm::BasicBlock* block : loop.blocks())
        for (const llvm::Instruction& instruction : *block)
            if (instruction.mayWriteToMemory())
                return true;
    return false;
}

/// With the phis behind the loop that LCSSA form has, one for each value that is used there.
void reload(const llvm::Loop& loop) {
    llvm::BasicBlock* behind = loop.getUniqueExitBlock();
    if (behind == nullptr || writes(loop))
        return;
    for (llvm::PHINode& phi : llvm::make_early_inc_range(behind->phis())) {
        auto* part = llvm::dyn_cast<llvm::ExtractElementInst>(phi.getIncomingValue(0));
        auto* load = llvm::dyn_cast<llvm::LoadInst>(part != nullptr ? part->getVectorOperand()
                                                                    : phi.getIncomingValue(0));
        if (load == nullptr || phi.getNumIncomingValues() != 1 || !loop.contains(load))
            continue;
        llvm::IRBuilder<> builder(behind, behind->getFirstInsertionPt());
        auto* address = llvm::dyn_cast<llvm::IntToPtrInst>(load->getPointerOperand());
        if (address == nullptr)
            continue;
        llvm::PHINode* kept = llvm::PHINode::Create(address->getSrcTy(), 1, "", phi.getIterator());
        kept->addIncoming(address->getOperand(0), phi.getIncomingBlock(0));
        auto* again = llvm::cast<llvm::LoadInst>(load->clone());
        again->setOperand(0, builder.CreateIntToPtr(kept, address->getType()));
        builder.Insert(again);
        llvm::Value* value = again;
        if (part != nullptr)
            value = builder.CreateExtractElement(again, part->getIndexOperand());
        phi.replaceAllUsesWith(value);
        phi.eraseFromParent();
    }
}

} // namespace

platform::Result<void> reloadBehindLoops(Lowering& lowering) {
    for (llvm::Function& function : lowering.module) {
        if (function.isDeclaration())
            continue;
        llvm::DominatorTree dominators(function);
        llvm::LoopInfo loops(dominators);
        for (llvm::Loop* loop : loops)
            llvm::formLCSSARecursively(*loop, dominators, &loops, nullptr);
        for (const llvm::Loop* loop : loops.getLoopsInPreorder())
            reload(*loop);
        lowering.analyses.forget(function);
    }
    return {};
}

} // namespace compute::spirv
