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

/// The operands of a chain of "or" or of "and".
struct Terms {
    llvm::SmallVector<Value*> uniform;
    llvm::SmallVector<Value*> divergent;
};

/// `isAny`: whether the chain is one of "or".
void collect(Value* condition, bool isAny, const Uniformity& uniformity, Terms& terms) {
    using namespace llvm::PatternMatch;
    Value* first = nullptr;
    Value* second = nullptr;
    const bool isMade = isAny ? match(condition, m_LogicalOr(m_Value(first), m_Value(second)))
                              : match(condition, m_LogicalAnd(m_Value(first), m_Value(second)));
    if (uniformity.isUniform(condition)) {
        terms.uniform.push_back(condition);
    } else if (isMade && condition->hasOneUse()) {
        collect(first, isAny, uniformity, terms);
        collect(second, isAny, uniformity, terms);
    } else {
        terms.divergent.push_back(condition);
    }
}

Value* combined(llvm::IRBuilder<>& builder, llvm::ArrayRef<Value*> terms, bool isAny) {
    Value* result = terms.front();
    for (Value* term : terms.drop_front())
        result = isAny ? builder.CreateOr(result, term) : builder.CreateAnd(result, term);
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
    /// The successor at which all threads reconverge; null when neither is one.
    BasicBlock* reconvergingSuccessor(llvm::BranchInst& branch) const;
    /// Moves instructions of `block` into `later` that are used only there or in the region that
    /// `work`, the successor that may be skipped, dominates.
    void sink(BasicBlock& block, BasicBlock& later, const BasicBlock& work) const;

    const Uniformity& m_uniformity;
    // The analyses describe the kernel before anything was split.
    const llvm::DominatorTree& m_dominators;
    const llvm::LoopInfo& m_loops;
    llvm::PostDominatorTree m_postDominators;
    /// For each new block, the block that it was split off.
    llvm::DenseMap<const BasicBlock*, const BasicBlock*> m_origins;
};

BasicBlock* Splitter::reconvergingSuccessor(llvm::BranchInst& branch) const {
    for (BasicBlock* successor : branch.successors())
        if (m_postDominators.dominates(successor, branch.getParent()) &&
            m_loops.getLoopFor(successor) == m_loops.getLoopFor(branch.getParent()) &&
            !m_loops.isLoopHeader(successor))
            return successor;
    return nullptr;
}

void Splitter::sink(BasicBlock& block, BasicBlock& later, const BasicBlock& work) const {
    const auto isBehind = [&](const llvm::Use& use) {
        const auto* user = llvm::cast<llvm::Instruction>(use.getUser());
        const BasicBlock* home = user->getParent();
        if (const auto origin = m_origins.find(home); origin != m_origins.end() && home != &later)
            home = origin->second;
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
        branch->getSuccessor(0) == branch->getSuccessor(1) || !m_uniformity.diverges(block))
        return false;
    BasicBlock* end = reconvergingSuccessor(*branch);
    if (end == nullptr)
        return false;
    const bool isAny = branch->getSuccessor(0) == end;
    Terms terms;
    Value* condition = branch->getCondition();
    collect(condition, isAny, m_uniformity, terms);
    if (terms.uniform.empty() || terms.divergent.empty())
        return false;

    llvm::IRBuilder<> builder(branch);
    Value* uniform = combined(builder, terms.uniform, isAny);
    branch->setCondition(combined(builder, terms.divergent, isAny));
    BasicBlock* work = branch->getSuccessor(isAny ? 1 : 0);
    BasicBlock* later = block.splitBasicBlock(branch);
    m_origins[later] = &block;
    block.getTerminator()->eraseFromParent();
    builder.SetInsertPoint(&block);
    builder.CreateCondBr(uniform, isAny ? end : later, isAny ? later : end);
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
