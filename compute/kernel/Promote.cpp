// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/kernel/Promote.h"

#include <llvm/Transforms/AggressiveInstCombine/AggressiveInstCombine.h>
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
    passes.addPass(llvm::SimplifyCFGPass());
    return passes;
}

} // namespace

void optimise(llvm::Function& function, Analyses& analyses) {
    llvm::FunctionPassManager passes = optimisation();
    analyses.run(passes, function);
}

platform::Result<void> promote(PassContext& context) {
    optimise(*context.entry, context.analyses);
    return {};
}

} // namespace compute::kernel
