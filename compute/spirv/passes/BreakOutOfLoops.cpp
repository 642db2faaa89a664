// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/spirv/passes/BreakOutOfLoops.h"

#include "compute/spirv/passes/Loops.h"

namespace compute::spirv {
namespace {

/// A loop whose flag is tested in one block, the only one that leads behind it.
class FlaggedLoop {
public:
    FlaggedLoop(Lowering& lowering, const llvm::LoopInfo& loops, const llvm::Loop& loop)
        : m_lowering(lowering),
          m_loops(loops),
          m_loop(loop),
          m_exiting(loop.getExitingBlock()),
          m_behind(loop.getUniqueExitBlock()) {}

    /// Goes backwards through the blocks from which all ways lead to the flag and do nothing else.
    void run() {
        if (!hasOnlyPhis(*m_exiting))
            return;
        llvm::SmallVector<llvm::BasicBlock*> tails{m_exiting};
        while (!tails.empty()) {
            llvm::BasicBlock* tail = tails.pop_back_val();
            const llvm::SmallVector<llvm::BasicBlock*> all(llvm::predecessors(tail));
            for (llvm::BasicBlock* before : all) {
                if (m_loops.getLoopFor(before) != &m_loop)
                    continue;
                if (canBreak(*before, *tail))
                    redirect(*before, *tail);
                else if (before->getSingleSuccessor() != nullptr && hasOnlyPhis(*before))
                    tails.push_back(before);
            }
        }
        removeTest();
    }

private:
    static bool hasOnlyPhis(const llvm::BasicBlock& block) {
        return &*block.getFirstNonPHIIt() == block.getTerminator();
    }

    /// What a value is where the flag is tested, when `before` leads there by `tail`.
    llvm::Value* valueBy(llvm::Value* value, const llvm::BasicBlock& before,
                         const llvm::BasicBlock& tail) const {
        llvm::SmallVector<const llvm::BasicBlock*> way{&before, &tail};
        while (way.back() != m_exiting)
            way.push_back(way.back()->getSingleSuccessor());
        for (std::size_t i = way.size() - 1; i > 0; --i)
            if (auto* phi = llvm::dyn_cast<llvm::PHINode>(value);
                phi != nullptr && phi->getParent() == way[i])
                value = phi->getIncomingValueForBlock(way[i - 1]);
        return value;
    }

    bool canBreak(const llvm::BasicBlock& before, const llvm::BasicBlock& tail) const {
        if (tail.getSinglePredecessor() != nullptr ||
            llvm::is_contained(llvm::successors(&before), m_behind))
            return false;
        const auto* test = llvm::cast<llvm::BranchInst>(m_exiting->getTerminator());
        const auto* flag =
            llvm::dyn_cast<llvm::ConstantInt>(valueBy(test->getCondition(), before, tail));
        return flag != nullptr && test->getSuccessor(flag->isZero() ? 1 : 0) == m_behind;
    }

    void redirect(llvm::BasicBlock& before, llvm::BasicBlock& tail) {
        for (llvm::PHINode& phi : m_behind->phis())
            phi.addIncoming(valueBy(phi.getIncomingValueForBlock(m_exiting), before, tail),
                            &before);
        tail.removePredecessor(&before, /*KeepOneInputPHIs=*/true);
        before.getTerminator()->replaceSuccessorWith(&tail, m_behind);
        m_lowering.joins.erase(&before);
    }

    /// Where the flag is never set any more.
    void removeTest() {
        auto* test = llvm::cast<llvm::BranchInst>(m_exiting->getTerminator());
        llvm::Value* flag = test->getCondition();
        while (auto* phi = llvm::dyn_cast_or_null<llvm::PHINode>(flag))
            flag = phi->hasConstantValue();
        const auto* constant = llvm::dyn_cast_or_null<llvm::ConstantInt>(flag);
        if (constant == nullptr || m_behind->getSinglePredecessor() != nullptr)
            return;
        llvm::BasicBlock* next = test->getSuccessor(constant->isZero() ? 1 : 0);
        m_behind->removePredecessor(m_exiting, /*KeepOneInputPHIs=*/true);
        llvm::IRBuilder<>(test).CreateBr(next);
        test->eraseFromParent();
    }

    Lowering& m_lowering;
    const llvm::LoopInfo& m_loops;
    const llvm::Loop& m_loop;
    llvm::BasicBlock* m_exiting;
    llvm::BasicBlock* m_behind;
};

/// What only renames a value is not needed any more.
void removeSinglePhis(llvm::Function& function) {
    for (llvm::BasicBlock& block : function)
        for (llvm::PHINode& phi : llvm::make_early_inc_range(block.phis()))
            if (llvm::Value* only = phi.hasConstantValue()) {
                phi.replaceAllUsesWith(only);
                phi.eraseFromParent();
            }
}

} // namespace

platform::Result<void> breakOutOfLoops(Lowering& lowering) {
    forEachLoop(lowering, [&](const llvm::Loop& loop, const llvm::LoopInfo& loops) {
        if (!readsMemory(loop))
            FlaggedLoop(lowering, loops, loop).run();
    });
    for (llvm::Function& function : lowering.module)
        removeSinglePhis(function);
    return {};
}

} // namespace compute::spirv
