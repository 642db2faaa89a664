// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/kernel/passes/FoldInitialisers.h"

#include "compute/kernel/GroupOperations.h"
#include "compute/kernel/passes/Promote.h"

#include <llvm/ADT/STLExtras.h>
#include <llvm/Analysis/TargetLibraryInfo.h>
#include <llvm/Analysis/ValueTracking.h>
#include <llvm/IR/InstIterator.h>
#include <llvm/IR/Instructions.h>
#include <llvm/Transforms/Utils/Evaluator.h>

namespace compute::kernel {
namespace {

llvm::GlobalVariable* initialiserList(llvm::Module& module) {
    return module.getGlobalVariable("llvm.global_ctors");
}

/// The variable that an initialiser writes to, for the message.
std::string initialisedVariable(llvm::Function& function) {
    for (llvm::Instruction& instruction : llvm::instructions(function))
        if (auto* store = llvm::dyn_cast<llvm::StoreInst>(&instruction))
            if (auto* variable = llvm::dyn_cast<llvm::GlobalVariable>(
                    llvm::getUnderlyingObject(store->getPointerOperand())))
                return sourceName(*variable);
    for (llvm::Instruction& instruction : llvm::instructions(function))
        for (llvm::Value* operand : instruction.operands())
            if (auto* variable =
                    llvm::dyn_cast<llvm::GlobalVariable>(llvm::getUnderlyingObject(operand)))
                return sourceName(*variable);
    return sourceName(function);
}

bool evaluate(llvm::Function& function, PassContext& context) {
    const llvm::TargetLibraryInfo& library =
        context.analyses.functions().getResult<llvm::TargetLibraryAnalysis>(function);
    llvm::Evaluator evaluator(context.module.getDataLayout(), &library);
    llvm::Constant* result = nullptr;
    if (!evaluator.EvaluateFunction(&function, result, llvm::SmallVector<llvm::Constant*>()))
        return false;
    for (const auto& [variable, value] : evaluator.getMutatedInitializers())
        variable->setInitializer(value);
    return true;
}

void removeAllBut(const std::vector<llvm::Function*>& kept, PassContext& context) {
    std::vector<llvm::Function*> others;
    for (llvm::Function& function : context.module)
        if (!llvm::is_contained(kept, &function))
            others.push_back(&function);
    for (llvm::Function* function : others)
        if (!function->isDeclaration()) {
            context.analyses.functions().clear(*function, function->getName());
            function->deleteBody();
        }
    for (llvm::Function* function : others)
        if (function->use_empty())
            function->eraseFromParent();
}

bool isWritten(const llvm::Value& pointer) {
    return llvm::any_of(pointer.users(), [&](const llvm::User* user) {
        if (const auto* store = llvm::dyn_cast<llvm::StoreInst>(user))
            return store->getPointerOperand() == &pointer;
        if (llvm::isa<llvm::GEPOperator>(user))
            return isWritten(*user);
        return llvm::isa<llvm::AtomicRMWInst, llvm::AtomicCmpXchgInst>(user);
    });
}

/// What no initialiser and no kernel writes is constant from here on.
platform::Result<void> freezeVariables(llvm::Module& module) {
    for (llvm::GlobalVariable& variable : llvm::make_early_inc_range(module.globals())) {
        variable.removeDeadConstantUsers();
        if (variable.use_empty()) {
            variable.eraseFromParent();
            continue;
        }
        if (isGroupVariable(variable))
            continue;
        if (!variable.hasInitializer())
            return platform::Error{"variable '" + sourceName(variable) + "' is not defined"};
        if (isWritten(variable))
            return platform::Error{"variable '" + sourceName(variable) +
                                   "' is written to; variables outside functions are constant"};
        variable.setConstant(true);
    }
    return {};
}

} // namespace

std::vector<llvm::Function*> listedInitialisers(llvm::Module& module) {
    std::vector<llvm::Function*> functions;
    llvm::GlobalVariable* list = initialiserList(module);
    if (list == nullptr || !list->hasInitializer())
        return functions;
    for (llvm::Use& entry : list->getInitializer()->operands())
        if (auto* record = llvm::dyn_cast<llvm::ConstantStruct>(entry.get()))
            if (auto* function = llvm::dyn_cast<llvm::Function>(record->getOperand(1)))
                functions.push_back(function);
    return functions;
}

std::vector<llvm::Function*> initialiserFunctions(llvm::Module& module) {
    std::vector<llvm::Function*> functions;
    for (llvm::Function* listed : listedInitialisers(module))
        for (llvm::Instruction& instruction : llvm::instructions(*listed))
            if (auto* call = llvm::dyn_cast<llvm::CallInst>(&instruction))
                if (call->getCalledFunction() && !call->getCalledFunction()->isDeclaration())
                    functions.push_back(call->getCalledFunction());
    return functions;
}

std::vector<llvm::Function*> rootFunctions(const PassContext& context) {
    std::vector<llvm::Function*> roots = initialiserFunctions(context.module);
    roots.push_back(context.entry);
    return roots;
}

platform::Result<void> foldInitialisers(PassContext& context) {
    for (llvm::Function* function : initialiserFunctions(context.module)) {
        const std::string variable = initialisedVariable(*function);
        optimise(*function, context.analyses);
        if (!evaluate(*function, context))
            return platform::Error{"initializer of '" + variable +
                                   "' is not a constant expression"};
    }
    if (llvm::GlobalVariable* list = initialiserList(context.module))
        list->eraseFromParent();
    removeAllBut(context.functions(), context);
    return freezeVariables(context.module);
}

} // namespace compute::kernel
