// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/spirv/passes/Simplify.h"

#include <llvm/CodeGen/UnreachableBlockElim.h>
#include <llvm/Transforms/InstCombine/InstCombine.h>
#include <llvm/Transforms/Scalar/ADCE.h>
#include <llvm/Transforms/Scalar/EarlyCSE.h>
#include <llvm/Transforms/Scalar/GVN.h>
#include <llvm/Transforms/Scalar/LICM.h>
#include <llvm/Transforms/Scalar/LoopPassManager.h>

namespace compute::spirv {
namespace {

void runOnAll(Lowering& lowering, llvm::FunctionPassManager passes) {
    passes.addPass(llvm::ADCEPass());
    // Where that has a branch go one way, it leaves the other in what phis name.
    passes.addPass(llvm::UnreachableBlockElimPass());
    for (llvm::Function& function : lowering.module)
        if (!function.isDeclaration())
            lowering.analyses.run(passes, function);
}

} // namespace

platform::Result<void> simplify(Lowering& lowering) {
    llvm::FunctionPassManager passes;
    passes.addPass(llvm::EarlyCSEPass(/*UseMemorySSA=*/true));
    passes.addPass(llvm::InstCombinePass());
    passes.addPass(llvm::GVNPass());
    passes.addPass(llvm::createFunctionToLoopPassAdaptor(llvm::LICMPass(llvm::LICMOptions()),
                                                         /*UseMemorySSA=*/true));
    runOnAll(lowering, std::move(passes));
    return {};
}

platform::Result<void> removeRepeated(Lowering& lowering) {
    llvm::FunctionPassManager passes;
    passes.addPass(llvm::EarlyCSEPass());
    runOnAll(lowering, std::move(passes));
    return {};
}

} // namespace compute::spirv
