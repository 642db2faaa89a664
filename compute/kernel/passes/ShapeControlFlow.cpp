// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/kernel/passes/ShapeControlFlow.h"

#include "compute/kernel/GroupOperations.h"

#include <llvm/IR/InstIterator.h>
#include <llvm/IR/IntrinsicInst.h>
#include <llvm/Transforms/Scalar/SimplifyCFG.h>
#include <llvm/Transforms/Utils/FixIrreducible.h>
#include <llvm/Transforms/Utils/Local.h>
#include <llvm/Transforms/Utils/LoopSimplify.h>
#include <llvm/Transforms/Utils/LowerSwitch.h>
#include <llvm/Transforms/Utils/UnifyFunctionExitNodes.h>

namespace compute::kernel {
namespace {

platform::Result<void> checkCalls(const llvm::Function& kernel) {
    for (const llvm::Instruction& instruction : llvm::instructions(kernel)) {
        const auto* call = llvm::dyn_cast<llvm::CallBase>(&instruction);
        if (call == nullptr || llvm::isa<llvm::IntrinsicInst>(call))
            continue;
        const llvm::Function* callee = call->getCalledFunction();
        if (callee != nullptr &&
            (!callee->isDeclaration() || groupOperation(*callee) != GroupOperation::None))
            continue;
        if (callee != nullptr)
            return platform::Error{"function '" + sourceName(*callee) + "' is not defined"};
        return platform::Error{"calls through pointers are not possible"};
    }
    return {};
}

/// `total`: the bytes of the functions before.
platform::Result<void> checkPrivateMemory(const llvm::Function& function, std::string_view name,
                                          std::uint64_t& total) {
    const llvm::DataLayout& layout = function.getParent()->getDataLayout();
    for (const llvm::Instruction& instruction : llvm::instructions(function))
        if (const auto* variable = llvm::dyn_cast<llvm::AllocaInst>(&instruction)) {
            const auto size = variable->getAllocationSize(layout);
            if (!size || !variable->isStaticAlloca())
                return platform::Error{"kernel '" + std::string(name) +
                                       "' has a variable whose size is not constant"};
            total += size->getFixedValue();
            if (total > maxPrivateBytes || size->getFixedValue() > maxPrivateBytes)
                return platform::Error{"kernel '" + std::string(name) + "' needs more than " +
                                       std::to_string(maxPrivateBytes) +
                                       " bytes for the variables of one thread"};
        }
    return {};
}

platform::Result<void> checkGroupMemory(const llvm::Module& module, std::string_view name) {
    const llvm::DataLayout& layout = module.getDataLayout();
    std::uint64_t total = 0;
    for (const llvm::GlobalVariable& variable : module.globals()) {
        if (!isGroupVariable(variable) || variable.getName() == groupArgumentsSymbol)
            continue;
        const std::uint64_t size = layout.getTypeAllocSize(variable.getValueType()).getFixedValue();
        if (size > maxGroupBytes - total)
            return platform::Error{"kernel '" + std::string(name) + "' needs more than " +
                                   std::to_string(maxGroupBytes) + " bytes of threadgroup memory"};
        total += llvm::alignTo(size, 16);
        total = std::min(total, maxGroupBytes);
    }
    return {};
}

/// LowerSwitch leaves a default block behind that no value leads to; other passes then take what
/// follows it apart.
struct RemoveUnreachableBlocksPass : llvm::PassInfoMixin<RemoveUnreachableBlocksPass> {
    static llvm::PreservedAnalyses run(llvm::Function& function, llvm::FunctionAnalysisManager&) {
        return llvm::removeUnreachableBlocks(function) ? llvm::PreservedAnalyses::none()
                                                       : llvm::PreservedAnalyses::all();
    }
};

} // namespace

platform::Result<void> shapeControlFlow(PassContext& context) {
    SL42_TRY_VOID(checkGroupMemory(context.module, context.kernel.name));
    std::uint64_t privateBytes = 0;
    llvm::FunctionPassManager passes;
    passes.addPass(llvm::LowerSwitchPass());
    passes.addPass(RemoveUnreachableBlocksPass());
    passes.addPass(llvm::FixIrreduciblePass());
    passes.addPass(llvm::UnifyFunctionExitNodesPass());
    passes.addPass(llvm::LoopSimplifyPass());
    for (llvm::Function* function : context.functions()) {
        SL42_TRY_VOID(checkCalls(*function));
        SL42_TRY_VOID(checkPrivateMemory(*function, context.kernel.name, privateBytes));
        context.analyses.run(passes, *function);
    }
    return {};
}

} // namespace compute::kernel
