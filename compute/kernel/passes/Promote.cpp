// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/kernel/passes/Promote.h"

#include <llvm/Analysis/AliasAnalysis.h>
#include <llvm/Analysis/LoopInfo.h>
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

llvm::FunctionPassManager loopPasses() {
    llvm::LoopPassManager restructure;
    restructure.addPass(llvm::LoopRotatePass());
    restructure.addPass(llvm::LICMPass(llvm::LICMOptions()));
    llvm::LoopPassManager count;
    count.addPass(llvm::IndVarSimplifyPass());
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
