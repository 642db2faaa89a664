// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/simd/transform/UniformConditions.h"

#include <llvm/Analysis/PostDominators.h>
#include <llvm/IR/IRBuilder.h>
#include <llvm/IR/PatternMatch.h>
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

class Splitter {
public:
    Splitter(llvm::Function& kernel, const Uniformity& uniformity,
             const llvm::DominatorTree& dominators, const llvm::LoopInfo& loops)
        : m_uniformity(uniformity),
          m_dominators(dominators),
          m_loops(loops),
          m_postDominators(kernel) {}

    bool split(BasicBlock& block);

private:
    /// Where the branch leads when there is nothing to do, so that all threads meet there.
    BasicBlock* spared(llvm::BranchInst& branch) const;
    /// Moves what is only used there, or behind its way to `work`.
    void sink(BasicBlock& block, BasicBlock& later, const BasicBlock& work) const;

    const Uniformity& m_uniformity;
    // As it was before anything was split.
    const llvm::DominatorTree& m_dominators;
    const llvm::LoopInfo& m_loops;
    llvm::PostDominatorTree m_postDominators;
    /// Of each block that came off another one, that one.
    llvm::DenseMap<const BasicBlock*, const BasicBlock*> m_wholes;
};

BasicBlock* Splitter::spared(llvm::BranchInst& branch) const {
    for (BasicBlock* way : branch.successors())
        if (m_postDominators.dominates(way, branch.getParent()) &&
            m_loops.getLoopFor(way) == m_loops.getLoopFor(branch.getParent()) &&
            !m_loops.isLoopHeader(way))
            return way;
    return nullptr;
}

void Splitter::sink(BasicBlock& block, BasicBlock& later, const BasicBlock& work) const {
    const auto isBehind = [&](const llvm::Use& use) {
        const auto* user = llvm::cast<llvm::Instruction>(use.getUser());
        const BasicBlock* home = user->getParent();
        if (const auto whole = m_wholes.find(home); whole != m_wholes.end() && home != &later)
            home = whole->second;
        return home == &later ||
               (!llvm::isa<llvm::PHINode>(user) && work.getSinglePredecessor() == &later &&
                m_dominators.dominates(&work, home));
    };
    for (llvm::Instruction& instruction : llvm::make_early_inc_range(llvm::reverse(block)))
        if (!instruction.isTerminator() && !llvm::isa<llvm::PHINode>(instruction) &&
            !instruction.mayReadOrWriteMemory() && !instruction.mayHaveSideEffects() &&
            !instruction.use_empty() && llvm::all_of(instruction.uses(), isBehind))
            instruction.moveBefore(&*later.getFirstInsertionPt());
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
    BasicBlock* work = branch->getSuccessor(isAny ? 1 : 0);
    BasicBlock* later = block.splitBasicBlock(branch);
    m_wholes[later] = &block;
    block.getTerminator()->eraseFromParent();
    builder.SetInsertPoint(&block);
    builder.CreateCondBr(common, isAny ? end : later, isAny ? later : end);
    for (llvm::PHINode& phi : end->phis())
        phi.addIncoming(phi.getIncomingValueForBlock(later), &block);
    llvm::RecursivelyDeleteTriviallyDeadInstructions(condition);
    sink(block, *later, *work);
    return true;
}

} // namespace

bool splitUniformConditions(llvm::Function& kernel, const Uniformity& uniformity,
                            const llvm::DominatorTree& dominators, const llvm::LoopInfo& loops) {
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
