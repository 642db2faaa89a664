// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/kernel/Calls.h"

#include <llvm/ADT/STLExtras.h>
#include <llvm/ADT/SmallPtrSet.h>
#include <llvm/IR/InstIterator.h>
#include <llvm/IR/Instructions.h>

#include <algorithm>

namespace compute::kernel {
namespace {

/// Depth first; a function is listed once all that it calls has been.
class Walk {
public:
    void visit(llvm::Function& function) {
        if (function.isDeclaration() || !m_seen.insert(&function).second)
            return;
        for (const llvm::Instruction& instruction : llvm::instructions(function))
            if (llvm::Function* callee = calledFunction(instruction))
                visit(*callee);
        m_calleesFirst.push_back(&function);
    }
    std::vector<llvm::Function*> take() { return std::move(m_calleesFirst); }

private:
    llvm::SmallPtrSet<llvm::Function*, 32> m_seen;
    std::vector<llvm::Function*> m_calleesFirst;
};

} // namespace

bool isCallOfProgram(const llvm::CallBase& call) {
    const llvm::Function* callee = call.getCalledFunction();
    return callee != nullptr && !callee->isDeclaration();
}

llvm::Function* calledFunction(const llvm::Instruction& instruction) {
    const auto* call = llvm::dyn_cast<llvm::CallBase>(&instruction);
    return call != nullptr && isCallOfProgram(*call) ? call->getCalledFunction() : nullptr;
}

std::vector<llvm::Function*> calleesFirst(llvm::ArrayRef<llvm::Function*> roots) {
    Walk walk;
    for (llvm::Function* root : roots)
        walk.visit(*root);
    return walk.take();
}

std::vector<llvm::Function*> callersFirst(llvm::ArrayRef<llvm::Function*> roots) {
    std::vector<llvm::Function*> functions = calleesFirst(roots);
    std::ranges::reverse(functions);
    return functions;
}

bool isOnlyCalled(const llvm::Function& function) {
    return llvm::all_of(function.uses(), [](const llvm::Use& use) {
        const auto* call = llvm::dyn_cast<llvm::CallInst>(use.getUser());
        return call != nullptr && call->isCallee(&use);
    });
}

llvm::Value* passedFor(const llvm::Argument& parameter, const llvm::User& call) {
    return llvm::cast<llvm::CallInst>(call).getArgOperand(parameter.getArgNo());
}

llvm::Constant* constantPassedFor(const llvm::Argument& parameter) {
    const llvm::Function& function = *parameter.getParent();
    auto* constant = llvm::dyn_cast<llvm::Constant>(passedFor(parameter, **function.user_begin()));
    const bool isCommon =
        constant != nullptr && llvm::all_of(function.users(), [&](const llvm::User* call) {
            return passedFor(parameter, *call) == constant;
        });
    return isCommon ? constant : nullptr;
}

} // namespace compute::kernel
