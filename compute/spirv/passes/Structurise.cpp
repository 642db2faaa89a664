// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/spirv/passes/Structurise.h"

#include "compute/spirv/passes/Loops.h"

#include <llvm/ADT/PostOrderIterator.h>
#include <llvm/ADT/SmallPtrSet.h>
#include <llvm/Analysis/DomTreeUpdater.h>
#include <llvm/Analysis/LoopInfo.h>
#include <llvm/Analysis/PostDominators.h>
#include <llvm/IR/Dominators.h>
#include <llvm/Transforms/Scalar/StructurizeCFG.h>
#include <llvm/Transforms/Utils/BasicBlockUtils.h>
#include <llvm/Transforms/Utils/FixIrreducible.h>
#include <llvm/Transforms/Utils/LoopSimplify.h>
#include <llvm/Transforms/Utils/LowerSwitch.h>
#include <llvm/Transforms/Utils/UnifyFunctionExitNodes.h>
#include <llvm/Transforms/Utils/UnifyLoopExits.h>

namespace compute::spirv {
namespace {

/// The trees of a function as it is now.
struct Shape {
    explicit Shape(llvm::Function& function)
        : dominators(function), postDominators(function), loops(dominators) {}
    llvm::DominatorTree dominators;
    llvm::PostDominatorTree postDominators;
    llvm::LoopInfo loops;

    bool endsLoop(const llvm::BasicBlock& block) const {
        const llvm::Loop* loop = loops.getLoopFor(&block);
        return loop != nullptr && loop->isLoopExiting(&block);
    }
    /// Where the ways of a conditional branch meet; null if that is nowhere.
    llvm::BasicBlock* join(llvm::BasicBlock& block) const {
        const auto* node = postDominators.getNode(&block);
        const auto* next = node != nullptr ? node->getIDom() : nullptr;
        return next != nullptr ? next->getBlock() : nullptr;
    }
};

llvm::BranchInst* conditional(llvm::BasicBlock& block) {
    auto* branch = llvm::dyn_cast<llvm::BranchInst>(block.getTerminator());
    return branch != nullptr && branch->isConditional() ? branch : nullptr;
}

/// Whether the blocks between a branch and its join are the branch's alone.
bool isClosed(llvm::BasicBlock& block, llvm::BasicBlock& join, const Shape& shape) {
    llvm::SmallVector<llvm::BasicBlock*> open(llvm::successors(&block));
    llvm::SmallPtrSet<llvm::BasicBlock*, 16> seen;
    while (!open.empty()) {
        llvm::BasicBlock* inner = open.pop_back_val();
        if (inner == &join || !seen.insert(inner).second)
            continue;
        if (!shape.dominators.properlyDominates(&block, inner))
            return false;
        llvm::append_range(open, llvm::successors(inner));
    }
    return true;
}

bool isStructured(llvm::Function& function) {
    const Shape shape(function);
    for (const llvm::Loop* loop : shape.loops.getLoopsInPreorder()) {
        llvm::BasicBlock* latch = loop->getLoopLatch();
        if (latch == nullptr || loop->getExitingBlock() != latch ||
            loop->getUniqueExitBlock() == nullptr || loop->getLoopPreheader() == nullptr)
            return false;
    }
    for (llvm::BasicBlock& block : function) {
        if (conditional(block) == nullptr || shape.endsLoop(block))
            continue;
        llvm::BasicBlock* join = shape.join(block);
        if (join == nullptr || shape.loops.getLoopFor(join) != shape.loops.getLoopFor(&block) ||
            !isClosed(block, *join, shape))
            return false;
    }
    return true;
}

/// A loop without an exit gets one that is never taken, since it must lead somewhere.
void giveExits(Lowering& lowering, llvm::Function& function) {
    llvm::BasicBlock* end = nullptr;
    for (llvm::BasicBlock& block : function)
        if (llvm::isa<llvm::ReturnInst>(block.getTerminator()))
            end = &block;
    const Shape shape(function);
    llvm::SmallVector<llvm::BasicBlock*> latches;
    for (const llvm::Loop* loop : shape.loops.getLoopsInPreorder())
        if (loop->hasNoExitBlocks() && loop->getParentLoop() == nullptr)
            loop->getLoopLatches(latches);
    for (llvm::BasicBlock* latch : latches) {
        auto* branch = llvm::cast<llvm::BranchInst>(latch->getTerminator());
        if (end == nullptr) {
            end = llvm::BasicBlock::Create(function.getContext(), "end", &function);
            llvm::IRBuilder<> builder(end);
            if (function.getReturnType()->isVoidTy())
                builder.CreateRetVoid();
            else
                builder.CreateRet(llvm::Constant::getNullValue(function.getReturnType()));
        }
        if (branch->isConditional()) // both ways lead back, or on in the loop
            continue;
        for (llvm::PHINode& phi : end->phis())
            phi.addIncoming(llvm::Constant::getNullValue(phi.getType()), latch);
        llvm::IRBuilder<> builder(branch);
        builder.CreateCondBr(builder.CreateCall(lowering.function(ShaderOperation::Always)),
                             branch->getSuccessor(0), end);
        branch->eraseFromParent();
    }
}

/// Headers, latches and the blocks behind loops of their own. Latches do nothing: drivers of Mesa
/// run what one does ahead of the next iteration, with a test whether there has been one.
void separateLoops(llvm::Function& function) {
    Shape shape(function);
    for (const llvm::Loop* loop : shape.loops.getLoopsInPreorder()) {
        llvm::BasicBlock* header = loop->getHeader();
        llvm::BasicBlock* latch = loop->getLoopLatch();
        llvm::BasicBlock* behind = loop->getExitBlock();
        llvm::SplitBlockPredecessors(behind, {latch}, ".behind");
        llvm::BasicBlock* again = readsMemory(*loop)
                                      ? llvm::SplitBlock(latch, latch->getTerminator())
                                      : llvm::SplitEdge(latch, header);
        again->setName("again");
        llvm::SplitBlock(header, &*header->getFirstNonPHIIt())->setName("body");
    }
}

/// Joins of their own, from the innermost branches on.
void separateJoins(llvm::Function& function) {
    Shape shape(function);
    llvm::SmallVector<llvm::BasicBlock*> branches;
    for (llvm::BasicBlock* block : llvm::post_order(&function))
        if (conditional(*block) != nullptr && !shape.endsLoop(*block))
            branches.push_back(block);
    llvm::DomTreeUpdater trees(shape.dominators, shape.postDominators,
                               llvm::DomTreeUpdater::UpdateStrategy::Eager);
    for (llvm::BasicBlock* block : branches) {
        llvm::BasicBlock* join = shape.join(*block);
        llvm::SmallVector<llvm::BasicBlock*> own;
        for (llvm::BasicBlock* before : llvm::predecessors(join))
            if (shape.dominators.dominates(block, before) && !llvm::is_contained(own, before))
                own.push_back(before);
        llvm::SplitBlockPredecessors(join, own, ".join", &trees);
    }
}

void keepJoins(Lowering& lowering, llvm::Function& function) {
    const Shape shape(function);
    for (llvm::BasicBlock& block : function)
        if (conditional(block) != nullptr && !shape.endsLoop(block))
            lowering.joins[&block] = shape.join(block);
}

void runPasses(Lowering& lowering, llvm::Function& function, bool structures) {
    llvm::FunctionPassManager passes;
    if (structures) {
        passes.addPass(llvm::FixIrreduciblePass());
        passes.addPass(llvm::LoopSimplifyPass());
        passes.addPass(llvm::UnifyLoopExitsPass());
        passes.addPass(llvm::StructurizeCFGPass());
    } else {
        passes.addPass(llvm::LowerSwitchPass());
        passes.addPass(llvm::UnifyFunctionExitNodesPass());
    }
    passes.addPass(llvm::LoopSimplifyPass());
    lowering.analyses.run(passes, function);
}

} // namespace

platform::Result<void> structurise(Lowering& lowering) {
    for (llvm::Function& function : lowering.module) {
        if (function.isDeclaration())
            continue;
        runPasses(lowering, function, /*structures=*/false);
        giveExits(lowering, function);
        lowering.analyses.forget(function);
        runPasses(lowering, function, /*structures=*/false);
        if (!isStructured(function))
            runPasses(lowering, function, /*structures=*/true);
        if (!isStructured(function))
            return platform::Error{"kernel '" + std::string(lowering.name) +
                                   "' has control flow that cannot be structured"};
        separateLoops(function);
        separateJoins(function);
        keepJoins(lowering, function);
        lowering.analyses.forget(function);
    }
    return {};
}

} // namespace compute::spirv
