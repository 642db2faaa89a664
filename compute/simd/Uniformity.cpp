// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/simd/Uniformity.h"

#include "compute/kernel/BindParameters.h"

#include <llvm/Analysis/IteratedDominanceFrontier.h>
#include <llvm/Analysis/PostDominators.h>
#include <llvm/Analysis/TargetTransformInfoImpl.h>
#include <llvm/IR/Dominators.h>
#include <llvm/IR/InstIterator.h>
#include <llvm/IR/Module.h>

namespace compute::simd {
namespace {

/// All that the analysis asks of a target.
class Lanes final : public llvm::TargetTransformInfoImplCRTPBase<Lanes> {
public:
    Lanes(const llvm::DataLayout& layout, const ValueSet& sources)
        : TargetTransformInfoImplCRTPBase(layout), m_sources(sources) {}

    bool hasBranchDivergence(const llvm::Function*) const { return true; }
    bool isSourceOfDivergence(const llvm::Value* value) const { return m_sources.contains(value); }

private:
    const ValueSet& m_sources;
};

/// Threads that do the same atomic operation get different results; so may two threads that read
/// memory which others are writing.
bool isOrdered(const llvm::Instruction& instruction) {
    if (const auto* load = llvm::dyn_cast<llvm::LoadInst>(&instruction))
        return !load->isSimple();
    return llvm::isa<llvm::AtomicRMWInst, llvm::AtomicCmpXchgInst>(instruction);
}

using Blocks = llvm::SmallPtrSet<llvm::BasicBlock*, 16>;

/// What threads that part at `block` may run through until they are together again, the block where
/// that happens included. Rounds of a loop that `block` is in are left to LLVM's analysis.
Blocks partedAfter(llvm::BasicBlock& block, const llvm::DominatorTree& dominators,
                   const llvm::PostDominatorTree& postDominators) {
    const llvm::DomTreeNode* together = postDominators.getNode(&block)->getIDom();
    Blocks found;
    llvm::SmallVector<llvm::BasicBlock*> open{&block};
    while (!open.empty()) {
        llvm::BasicBlock* from = open.pop_back_val();
        for (llvm::BasicBlock* next : llvm::successors(from))
            if (!dominators.dominates(next, &block) && found.insert(next).second &&
                (together == nullptr || next != together->getBlock()))
                open.push_back(next);
    }
    return found;
}

/// Adds what meets where the ways of a parting branch come together, as far as the analysis missed
/// it: LLVM 19 stops too early when one of the ways holds a branch that all threads take together
/// and the other one a loop. Returns whether there was any.
bool addMissedJoins(llvm::Function& kernel, llvm::DominatorTree& dominators,
                    const llvm::UniformityInfo& info, ValueSet& sources) {
    const llvm::PostDominatorTree postDominators(kernel);
    const std::size_t before = sources.size();
    for (llvm::BasicBlock& block : kernel) {
        if (!info.isDivergent(block.getTerminator()))
            continue;
        const Blocks parted = partedAfter(block, dominators, postDominators);
        const Blocks ways(llvm::succ_begin(&block), llvm::succ_end(&block));
        llvm::ForwardIDFCalculator frontier(dominators);
        frontier.setDefiningBlocks(ways);
        frontier.setLiveInBlocks(parted);
        llvm::SmallVector<llvm::BasicBlock*> joins;
        frontier.calculate(joins);
        for (llvm::BasicBlock* join : joins)
            for (llvm::PHINode& phi : join->phis())
                if (!info.isDivergent(&phi) && !phi.hasConstantOrUndefValue())
                    sources.insert(&phi);
    }
    return sources.size() > before;
}

} // namespace

ParameterStrides kernelParameters() {
    ParameterStrides strides(kernel::ZArgument + 1, 0);
    strides[kernel::XArgument] = 1;
    return strides;
}

Uniformity::Uniformity(llvm::Function& function, const ValueSet& varyingMemory,
                       const ParameterStrides& parameters)
    : m_sources(varyingMemory) {
    for (const llvm::Argument& parameter : function.args())
        if (parameters[parameter.getArgNo()] != 0)
            m_sources.insert(&parameter);
    for (const llvm::Instruction& instruction : llvm::instructions(function))
        if (isOrdered(instruction))
            m_sources.insert(&instruction);
    m_analyses.registerPass([] { return llvm::PassInstrumentationAnalysis(); });
    m_analyses.registerPass([] { return llvm::DominatorTreeAnalysis(); });
    m_analyses.registerPass([] { return llvm::CycleAnalysis(); });
    m_analyses.registerPass([] { return llvm::UniformityInfoAnalysis(); });
    m_analyses.registerPass([&] {
        return llvm::TargetIRAnalysis([&](const llvm::Function& of) {
            return llvm::TargetTransformInfo(Lanes(of.getParent()->getDataLayout(), m_sources));
        });
    });
    do {
        m_analyses.clear();
        m_info = &m_analyses.getResult<llvm::UniformityInfoAnalysis>(function);
    } while (addMissedJoins(function, m_analyses.getResult<llvm::DominatorTreeAnalysis>(function),
                            *m_info, m_sources));
}

} // namespace compute::simd
