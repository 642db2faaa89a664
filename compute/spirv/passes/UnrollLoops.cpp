// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/spirv/passes/UnrollLoops.h"

#include <llvm/Analysis/LoopInfo.h>
#include <llvm/Analysis/ScalarEvolution.h>
#include <llvm/CodeGen/UnreachableBlockElim.h>
#include <llvm/Transforms/InstCombine/InstCombine.h>
#include <llvm/Transforms/Scalar/ADCE.h>
#include <llvm/Transforms/Scalar/GVN.h>
#include <llvm/Transforms/Scalar/LoopUnrollPass.h>
#include <llvm/Transforms/Scalar/SimplifyCFG.h>
#include <llvm/Transforms/Utils/LoopUtils.h>

namespace compute::spirv {
namespace {

constexpr unsigned mostIterations = 8;
/// Of all iterations together.
constexpr unsigned mostInstructions = 640;

bool isShort(const llvm::Loop& loop, llvm::ScalarEvolution& evolution) {
    const unsigned iterations = evolution.getSmallConstantTripCount(&loop);
    // Where it is left in several places, the iterations would be branches within each other.
    if (iterations == 0 || iterations > mostIterations || !loop.isInnermost() ||
        loop.getExitingBlock() == nullptr)
        return false;
    std::size_t instructions = 0;
    for (const llvm::BasicBlock* block : loop.blocks())
        instructions += block->size();
    return instructions * iterations <= mostInstructions;
}

} // namespace

platform::Result<void> unrollLoops(Lowering& lowering) {
    constexpr int optimisationLevel = 2;
    llvm::FunctionAnalysisManager& analyses = lowering.analyses.functions();
    for (llvm::Function& function : lowering.module) {
        if (function.isDeclaration())
            continue;
        bool any = false;
        auto& evolution = analyses.getResult<llvm::ScalarEvolutionAnalysis>(function);
        for (llvm::Loop* loop :
             analyses.getResult<llvm::LoopAnalysis>(function).getLoopsInPreorder())
            if (isShort(*loop, evolution)) {
                llvm::addStringMetadataToLoop(loop, "llvm.loop.unroll.full", 1);
                any = true;
            }
        if (!any)
            continue;
        llvm::FunctionPassManager passes;
        passes.addPass(llvm::LoopUnrollPass(
            llvm::LoopUnrollOptions(optimisationLevel, /*OnlyWhenForced=*/true)));
        passes.addPass(llvm::SimplifyCFGPass()); // ways that nobody goes any more
        passes.addPass(llvm::InstCombinePass());
        passes.addPass(llvm::GVNPass());
        passes.addPass(llvm::ADCEPass());
        passes.addPass(llvm::UnreachableBlockElimPass()); // see simplify()
        lowering.analyses.run(passes, function);
    }
    return {};
}

} // namespace compute::spirv
