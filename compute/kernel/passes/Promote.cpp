// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/kernel/passes/Promote.h"

#include <llvm/Analysis/AliasAnalysis.h>
#include <llvm/Analysis/LoopInfo.h>
#include <llvm/Analysis/ScalarEvolutionExpressions.h>
#include <llvm/Analysis/ValueTracking.h>
#include <llvm/IR/InstIterator.h>
#include <llvm/Transforms/AggressiveInstCombine/AggressiveInstCombine.h>
#include <llvm/Transforms/IPO/FunctionAttrs.h>
#include <llvm/Transforms/InstCombine/InstCombine.h>
#include <llvm/Transforms/Scalar/ADCE.h>
#include <llvm/Transforms/Scalar/DeadStoreElimination.h>
#include <llvm/Transforms/Scalar/EarlyCSE.h>
#include <llvm/Transforms/Scalar/GVN.h>
#include <llvm/Transforms/Scalar/IndVarSimplify.h>
#include <llvm/Transforms/Scalar/LICM.h>
#include <llvm/Transforms/Scalar/LoopPassManager.h>
#include <llvm/Transforms/Scalar/LoopRotation.h>
#include <llvm/Transforms/Scalar/LoopUnrollPass.h>
#include <llvm/Transforms/Scalar/Reassociate.h>
#include <llvm/Transforms/Scalar/SROA.h>
#include <llvm/Transforms/Scalar/SimplifyCFG.h>

namespace compute::kernel {
namespace {

/// IndVarSimplify, which makes formulas of sums in loops; but not where those need more bits than
/// any device has.
class CountLoops : public llvm::PassInfoMixin<CountLoops> {
public:
    static llvm::PreservedAnalyses run(llvm::Loop& loop, llvm::LoopAnalysisManager& analyses,
                                       llvm::LoopStandardAnalysisResults& results,
                                       llvm::LPMUpdater& updater) {
        for (llvm::PHINode& phi : loop.getHeader()->phis())
            if (isTooWide(phi, results.SE))
                return llvm::PreservedAnalyses::all();
        return llvm::IndVarSimplifyPass().run(loop, analyses, results, updater);
    }

private:
    /// A sum of sums of 64 bits has a formula with one bit more.
    static bool isTooWide(llvm::PHINode& phi, llvm::ScalarEvolution& evolution) {
        constexpr unsigned mostBits = 64;
        if (!phi.getType()->isIntegerTy(mostBits))
            return false;
        const auto* sum = llvm::dyn_cast<llvm::SCEVAddRecExpr>(evolution.getSCEV(&phi));
        return sum != nullptr && !sum->isAffine();
    }
};

llvm::FunctionPassManager loopPasses() {
    llvm::LoopPassManager restructure;
    restructure.addPass(llvm::LoopRotatePass());
    restructure.addPass(llvm::LICMPass(llvm::LICMOptions()));
    llvm::LoopPassManager count;
    count.addPass(CountLoops());
    count.addPass(llvm::LoopFullUnrollPass(/*OptLevel=*/2));

    llvm::FunctionPassManager passes;
    passes.addPass(llvm::createFunctionToLoopPassAdaptor(std::move(restructure),
                                                         /*UseMemorySSA=*/true));
    passes.addPass(llvm::SimplifyCFGPass());
    passes.addPass(llvm::createFunctionToLoopPassAdaptor(std::move(count)));
    return passes;
}

llvm::FunctionPassManager optimisation() {
    llvm::FunctionPassManager passes;
    passes.addPass(llvm::SROAPass(llvm::SROAOptions::ModifyCFG));
    passes.addPass(llvm::EarlyCSEPass(/*UseMemorySSA=*/true));
    passes.addPass(llvm::InstCombinePass());
    passes.addPass(llvm::SimplifyCFGPass());
    // Finds bytes that together make a word, as long as their addresses lie side by side.
    passes.addPass(llvm::AggressiveInstCombinePass());
    passes.addPass(llvm::ReassociatePass());
    passes.addPass(loopPasses());
    // Indices that unrolling made constant let more arrays become registers.
    passes.addPass(llvm::SROAPass(llvm::SROAOptions::ModifyCFG));
    passes.addPass(llvm::GVNPass());
    passes.addPass(llvm::InstCombinePass());
    passes.addPass(llvm::DSEPass());
    passes.addPass(llvm::ADCEPass());
    // Where threads may part, a few more instructions for all are less work than another branch.
    constexpr int fewInstructions = 8;
    passes.addPass(
        llvm::SimplifyCFGPass(llvm::SimplifyCFGOptions().bonusInstThreshold(fewInstructions)));
    return passes;
}

/// Notes what callers may rely on, now that the function says it clearly.
void describeEffects(llvm::Function& function, Analyses& analyses) {
    if (function.use_empty())
        return;
    const llvm::MemoryEffects effects = llvm::computeFunctionBodyMemoryAccess(
        function, analyses.functions().getResult<llvm::AAManager>(function));
    function.setMemoryEffects(effects);
    const bool returns =
        analyses.functions().getResult<llvm::LoopAnalysis>(function).empty() &&
        llvm::all_of(llvm::instructions(function),
                     [](const llvm::Instruction& instruction) { return instruction.willReturn(); });
    if (!returns)
        return;
    function.setWillReturn();
    const bool isHarmless =
        llvm::all_of(llvm::instructions(function), [](const llvm::Instruction& instruction) {
            return instruction.isTerminator() || llvm::isa<llvm::PHINode>(instruction) ||
                   llvm::isSafeToSpeculativelyExecute(&instruction);
        });
    if (isHarmless && effects.doesNotAccessMemory())
        function.setSpeculatable();
}

} // namespace

void optimise(llvm::Function& function, Analyses& analyses) {
    llvm::FunctionPassManager passes = optimisation();
    analyses.run(passes, function);
}

platform::Result<void> promote(PassContext& context) {
    for (llvm::Function* function : context.functions()) {
        optimise(*function, context.analyses);
        describeEffects(*function, context.analyses);
    }
    return {};
}

} // namespace compute::kernel
