// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/kernel/ShapeControlFlow.h"

#include <llvm/IR/InstIterator.h>
#include <llvm/IR/IntrinsicInst.h>
#include <llvm/Transforms/Scalar/SimplifyCFG.h>
#include <llvm/Transforms/Utils/FixIrreducible.h>
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
        if (const llvm::Function* callee = call->getCalledFunction())
            return platform::Error{"function '" + sourceName(*callee) + "' is not defined"};
        return platform::Error{"calls through pointers are not possible"};
    }
    return {};
}

platform::Result<void> checkPrivateMemory(const llvm::Function& kernel, std::string_view name) {
    const llvm::DataLayout& layout = kernel.getParent()->getDataLayout();
    std::uint64_t total = 0;
    for (const llvm::Instruction& instruction : llvm::instructions(kernel))
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

} // namespace

platform::Result<void> shapeControlFlow(PassContext& context) {
    SL42_TRY_VOID(checkCalls(*context.entry));
    SL42_TRY_VOID(checkPrivateMemory(*context.entry, context.kernel.name));
    llvm::FunctionPassManager passes;
    passes.addPass(llvm::LowerSwitchPass());
    passes.addPass(llvm::FixIrreduciblePass());
    passes.addPass(llvm::UnifyFunctionExitNodesPass());
    passes.addPass(llvm::LoopSimplifyPass());
    context.analyses.run(passes, *context.entry);
    return {};
}

} // namespace compute::kernel
