// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/simd/analysis/Uniformity.h"

#include "compute/kernel/GroupOperations.h"
#include "compute/kernel/KernelSignature.h"
#include "compute/simd/analysis/DivergentJoins.h"

#include <llvm/Analysis/TargetTransformInfoImpl.h>
#include <llvm/IR/Dominators.h>
#include <llvm/IR/InstIterator.h>
#include <llvm/IR/Module.h>
#include <llvm/IR/PassInstrumentation.h>

namespace compute::simd {
namespace {

/// Answers the questions that the analysis has for a target.
class Lanes final : public llvm::TargetTransformInfoImplCRTPBase<Lanes> {
public:
    Lanes(const llvm::DataLayout& layout, const ValueSet& sources)
        : TargetTransformInfoImplCRTPBase(layout), m_sources(sources) {}

    bool hasBranchDivergence(const llvm::Function*) const { return true; }
    bool isSourceOfDivergence(const llvm::Value* value) const { return m_sources.contains(value); }
    bool isAlwaysUniform(const llvm::Value* value) const {
        const auto* call = llvm::dyn_cast<llvm::CallBase>(value);
        return call != nullptr && kernel::hasUniformResult(*call);
    }

private:
    const ValueSet& m_sources;
};

/// Whether the instruction is a source of divergence by itself: threads that do the same atomic
/// operation get different results, and so may threads that read memory while others write it, or
/// that ask what others hold.
bool isSource(const llvm::Instruction& instruction) {
    if (kernel::groupOperation(instruction) != kernel::GroupOperation::None)
        return !instruction.getType()->isVoidTy() &&
               !kernel::hasUniformResult(llvm::cast<llvm::CallBase>(instruction));
    if (const auto* load = llvm::dyn_cast<llvm::LoadInst>(&instruction))
        return !load->isSimple();
    return llvm::isa<llvm::AtomicRMWInst, llvm::AtomicCmpXchgInst>(instruction);
}

/// Adds the phis of divergent joins that the analysis missed to the sources. LLVM 19 stops too
/// early in two cases: when one side of a divergent branch holds a uniform branch and the other
/// side a loop, and when the threads that are still in a loop leave it by a uniform branch after
/// others have left. Returns whether any phis were missing.
bool addMissedJoins(llvm::Function& kernel, const llvm::DominatorTree& dominators,
                    const llvm::UniformityInfo& info, ValueSet& sources) {
    const std::size_t before = sources.size();
    const auto add = [&](const std::vector<llvm::BasicBlock*>& joins) {
        for (llvm::BasicBlock* join : joins)
            for (llvm::PHINode& phi : join->phis())
                if (!info.isDivergent(&phi) && !phi.hasConstantOrUndefValue())
                    sources.insert(&phi);
    };
    const DivergentJoins joins(kernel, dominators);
    llvm::SmallPtrSet<const llvm::Loop*, 8> left;
    for (llvm::BasicBlock& block : kernel)
        if (info.isDivergent(block.getTerminator())) {
            add(joins.ofBranch(block));
            for (const llvm::Loop* loop : joins.loopsLeftBy(block))
                left.insert(loop);
        }
    for (const llvm::Loop* loop : left)
        add(joins.ofExits(*loop));
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
        if (isSource(instruction))
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
