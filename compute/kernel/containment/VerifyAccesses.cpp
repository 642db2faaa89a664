// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/kernel/containment/VerifyAccesses.h"

#include "compute/kernel/containment/AddressRanges.h"

#include <llvm/IR/InstIterator.h>
#include <llvm/IR/IntrinsicInst.h>
#include <llvm/Support/raw_ostream.h>

namespace compute::kernel {
namespace {

platform::Error refused(const llvm::Instruction& instruction) {
    std::string text;
    llvm::raw_string_ostream stream(text);
    instruction.print(stream);
    return platform::Error{"this kernel reaches outside of its memory:" + text};
}

/// Whether the code alone, and no data, decides where the branch or call leads.
bool hasFixedDestination(const llvm::Instruction& instruction) {
    if (const auto* call = llvm::dyn_cast<llvm::CallBase>(&instruction))
        return llvm::isa<llvm::CallInst>(call) && call->getCalledFunction() != nullptr &&
               (!call->getCalledFunction()->isDeclaration() ||
                llvm::isa<llvm::IntrinsicInst>(call));
    return !instruction.isTerminator() ||
           llvm::isa<llvm::BranchInst, llvm::ReturnInst, llvm::UnreachableInst>(instruction);
}

bool isVariableOfItsFunction(const llvm::AllocaInst& variable) {
    return variable.isStaticAlloca() && !variable.isUsedWithInAlloca();
}

platform::Result<void> verify(llvm::Function& function) {
    const llvm::DataLayout& layout = function.getParent()->getDataLayout();
    AddressRanges ranges(layout);
    llvm::SmallVector<MemoryAccess, 2> accesses;
    for (llvm::Instruction& instruction : llvm::instructions(function)) {
        const auto* variable = llvm::dyn_cast<llvm::AllocaInst>(&instruction);
        accesses.clear();
        if (!hasFixedDestination(instruction) || !findAccesses(instruction, layout, accesses) ||
            (variable != nullptr && !isVariableOfItsFunction(*variable)))
            return refused(instruction);
        for (const MemoryAccess& access : accesses)
            if (!ranges.isConfined(access))
                return refused(instruction);
    }
    return {};
}

} // namespace

platform::Result<void> verifyAccesses(llvm::Module& module) {
    for (const llvm::GlobalVariable& variable : module.globals())
        if (!variable.isConstant() || !variable.hasInitializer() || variable.isThreadLocal())
            return platform::Error{"this kernel reaches outside of its memory: " +
                                   variable.getName().str()};
    if (!module.alias_empty() || !module.ifunc_empty() || !module.getModuleInlineAsm().empty())
        return platform::Error{"this kernel reaches outside of its memory"};
    for (llvm::Function& function : module)
        if (!function.isDeclaration())
            SL42_TRY_VOID(verify(function));
    return {};
}

} // namespace compute::kernel
