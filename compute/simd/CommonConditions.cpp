// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/simd/CommonConditions.h"

#include <llvm/Analysis/PostDominators.h>
#include <llvm/IR/IRBuilder.h>
#include <llvm/IR/PatternMatch.h>
#include <llvm/Transforms/Utils/BasicBlockUtils.h>
#include <llvm/Transforms/Utils/Local.h>

namespace compute::simd {
namespace {

using llvm::BasicBlock;
using llvm::Value;

/// The parts of a condition of which one is enough.
struct Parts {
    llvm::SmallVector<Value*> common;
    llvm::SmallVector<Value*> others;
};

void collect(Value* condition, bool isAny, const Uniformity& uniformity, Parts& parts) {
    using namespace llvm::PatternMatch;
    Value* first = nullptr;
    Value* second = nullptr;
    const bool isMade = isAny ? match(condition, m_LogicalOr(m_Value(first), m_Value(second)))
                              : match(condition, m_LogicalAnd(m_Value(first), m_Value(second)));
    if (uniformity.isUniform(condition)) {
        parts.common.push_back(condition);
    } else if (isMade && condition->hasOneUse()) {
        collect(first, isAny, uniformity, parts);
        collect(second, isAny, uniformity, parts);
    } else {
        parts.others.push_back(condition);
    }
}

Value* combined(llvm::IRBuilder<>& builder, llvm::ArrayRef<Value*> parts, bool isAny) {
    Value* result = parts.front();
    for (Value* part : parts.drop_front())
        result = isAny ? builder.CreateOr(result, part) : builder.CreateAnd(result, part);
    return result;
}

/// Moves what only the blocks behind `later` use there.
void sink(BasicBlock& block, BasicBlock& later, const llvm::DominatorTree& dominators) {
    for (llvm::Instruction& instruction : llvm::make_early_inc_range(llvm::reverse(block))) {
        if (instruction.isTerminator() || llvm::isa<llvm::PHINode>(instruction) ||
            instruction.mayReadOrWriteMemory() || instruction.mayHaveSideEffects() ||
            instruction.use_empty())
            continue;
        if (llvm::all_of(instruction.uses(), [&](const llvm::Use& use) {
                return dominators.dominates(
                           &later, llvm::cast<llvm::Instruction>(use.getUser())->getParent()) &&
                       !llvm::isa<llvm::PHINode>(use.getUser());
            }))
            instruction.moveBefore(&*later.getFirstInsertionPt());
    }
}

class Splitter {
public:
    Splitter(llvm::Function& kernel, const Uniformity& uniformity, llvm::DominatorTree& dominators,
             llvm::LoopInfo& loops)
        : m_uniformity(uniformity),
          m_dominators(dominators),
          m_loops(loops),
          m_postDominators(kernel) {}

    bool split(BasicBlock& block);

private:
    /// Where the branch leads when there is nothing to do, so that all threads meet there.
    BasicBlock* spared(llvm::BranchInst& branch) const;

    const Uniformity& m_uniformity;
    llvm::DominatorTree& m_dominators;
    llvm::LoopInfo& m_loops;
    llvm::PostDominatorTree m_postDominators; ///< of the blocks that were there before
};

BasicBlock* Splitter::spared(llvm::BranchInst& branch) const {
    for (BasicBlock* way : branch.successors())
        if (m_postDominators.dominates(way, branch.getParent()) &&
            m_loops.getLoopFor(way) == m_loops.getLoopFor(branch.getParent()) &&
            !m_loops.isLoopHeader(way))
            return way;
    return nullptr;
}

bool Splitter::split(BasicBlock& block) {
    auto* branch = llvm::dyn_cast<llvm::BranchInst>(block.getTerminator());
    if (branch == nullptr || !branch->isConditional() ||
        branch->getSuccessor(0) == branch->getSuccessor(1) || !m_uniformity.parts(block))
        return false;
    BasicBlock* end = spared(*branch);
    if (end == nullptr)
        return false;
    const bool isAny = branch->getSuccessor(0) == end;
    Parts parts;
    Value* condition = branch->getCondition();
    collect(condition, isAny, m_uniformity, parts);
    if (parts.common.empty() || parts.others.empty())
        return false;

    llvm::IRBuilder<> builder(branch);
    Value* common = combined(builder, parts.common, isAny);
    branch->setCondition(combined(builder, parts.others, isAny));
    BasicBlock* later = llvm::SplitBlock(&block, branch, &m_dominators, &m_loops);
    block.getTerminator()->eraseFromParent();
    builder.SetInsertPoint(&block);
    builder.CreateCondBr(common, isAny ? end : later, isAny ? later : end);
    for (llvm::PHINode& phi : end->phis())
        phi.addIncoming(phi.getIncomingValueForBlock(later), &block);
    llvm::RecursivelyDeleteTriviallyDeadInstructions(condition);
    m_dominators.insertEdge(&block, end);
    sink(block, *later, m_dominators);
    return true;
}

} // namespace

bool splitCommonConditions(llvm::Function& kernel, const Uniformity& uniformity,
                           llvm::DominatorTree& dominators, llvm::LoopInfo& loops) {
    std::vector<BasicBlock*> blocks;
    for (BasicBlock& block : kernel)
        blocks.push_back(&block);
    Splitter splitter(kernel, uniformity, dominators, loops);
    bool isChanged = false;
    for (BasicBlock* block : blocks)
        isChanged |= splitter.split(*block);
    return isChanged;
}

} // namespace compute::simd
