// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/kernel/sharing/Inliner.h"

#include "compute/kernel/GroupOperations.h"
#include "compute/kernel/passes/Undefined.h"
#include "compute/kernel/sharing/ChooseShared.h"

#include <llvm/ADT/STLExtras.h>
#include <llvm/Analysis/CFG.h>
#include <llvm/IR/InstIterator.h>
#include <llvm/IR/IntrinsicInst.h>
#include <llvm/Transforms/Utils/Cloning.h>

namespace compute::kernel {
namespace {

/// Calls of declarations count, because the inliner is what refuses them.
bool isToInline(const llvm::CallInst& call) {
    const llvm::Function* callee = call.getCalledFunction();
    return callee != nullptr && !llvm::isa<llvm::IntrinsicInst>(call) && !isShared(*callee) &&
           groupOperation(*callee) == GroupOperation::None;
}

llvm::SmallVector<llvm::CallInst*> callsToInline(llvm::Function& function) {
    llvm::SmallVector<llvm::CallInst*> calls;
    for (llvm::Instruction& instruction : llvm::instructions(function))
        if (auto* call = llvm::dyn_cast<llvm::CallInst>(&instruction))
            if (isToInline(*call))
                calls.push_back(call);
    return calls;
}

bool isInLoop(const llvm::BasicBlock& block) {
    return llvm::any_of(llvm::successors(&block), [&](const llvm::BasicBlock* next) {
        return llvm::isPotentiallyReachable(next, &block);
    });
}

} // namespace

platform::Result<Inliner::Calls> Inliner::inlineCall(llvm::CallInst& call) {
    llvm::Function& callee = *call.getCalledFunction();
    llvm::InlineFunctionInfo info;
    const llvm::InlineResult result = llvm::InlineFunction(call, info, /*MergeAttributes=*/false,
                                                           nullptr, /*InsertLifetime=*/false);
    if (!result.isSuccess())
        return platform::Error{"function '" + sourceName(callee) +
                               "' cannot be used in a kernel: " + result.getFailureReason()};
    if (callee.use_empty()) {
        m_context.analyses.functions().clear(callee, callee.getName());
        callee.deleteBody();
    }
    Calls calls;
    for (llvm::CallBase* inner : info.InlinedCallSites)
        if (auto* direct = llvm::dyn_cast<llvm::CallInst>(inner); direct && isToInline(*direct))
            calls.push_back(direct);
    return calls;
}

platform::Result<void> Inliner::inlineAll(llvm::Function& function, Calls calls) {
    unsigned size = function.getInstructionCount();
    while (!calls.empty()) {
        llvm::CallInst* call = calls.pop_back_val();
        llvm::Function& callee = *call->getCalledFunction();
        if (callee.isDeclaration())
            return platform::Error{"function '" + sourceName(callee) + "' is not defined"};
        // What is called once goes in as it is: its own calls are better copied once than twice.
        if (!callee.hasOneUse())
            SL42_TRY_VOID(flatten(callee));
        else if (isInLoop(*call->getParent()))
            clearStackVariables(callee); // each call has variables of its own
        size += callee.getInstructionCount();
        if (size > maxInstructions)
            return platform::Error{"function '" + sourceName(function) +
                                   "' is too large: with everything that it calls it has more "
                                   "than " +
                                   std::to_string(maxInstructions) + " instructions"};
        calls.append(SL42_TRY(inlineCall(*call)));
    }
    return {};
}

platform::Result<void> Inliner::flatten(llvm::Function& function) {
    if (const auto [place, isNew] = m_states.try_emplace(&function, State::Open); !isNew) {
        if (place->second == State::Open)
            return platform::Error{"function '" + sourceName(function) + "' calls itself"};
        return {};
    }
    // Simplifying can make an indirect call direct, hence the loop.
    for (auto calls = callsToInline(function); !calls.empty(); calls = callsToInline(function)) {
        SL42_TRY_VOID(inlineAll(function, std::move(calls)));
        if (function.use_empty()) // a kernel; nobody will copy it
            m_simplifier.promote(function);
        else
            m_simplifier.simplify(function);
    }
    m_states[&function] = State::Done;
    return {};
}

} // namespace compute::kernel
