// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/simd/Uniformity.h"

#include "compute/kernel/BindParameters.h"

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

} // namespace

Uniformity::Uniformity(llvm::Function& kernel, const ValueSet& varyingMemory) {
    ValueSet sources = varyingMemory;
    sources.insert(kernel.getArg(kernel::XArgument));
    for (const llvm::Instruction& instruction : llvm::instructions(kernel))
        if (isOrdered(instruction))
            sources.insert(&instruction);
    m_analyses.registerPass([] { return llvm::PassInstrumentationAnalysis(); });
    m_analyses.registerPass([] { return llvm::DominatorTreeAnalysis(); });
    m_analyses.registerPass([] { return llvm::CycleAnalysis(); });
    m_analyses.registerPass([] { return llvm::UniformityInfoAnalysis(); });
    m_analyses.registerPass([&] {
        return llvm::TargetIRAnalysis([&](const llvm::Function& function) {
            return llvm::TargetTransformInfo(Lanes(function.getParent()->getDataLayout(), sources));
        });
    });
    m_info = &m_analyses.getResult<llvm::UniformityInfoAnalysis>(kernel);
}

} // namespace compute::simd
