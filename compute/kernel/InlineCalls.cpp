// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/kernel/InlineCalls.h"

#include "compute/kernel/FoldInitialisers.h"
#include "compute/kernel/Undefined.h"

#include <llvm/IR/InstIterator.h>
#include <llvm/IR/IntrinsicInst.h>
#include <llvm/Transforms/Scalar/EarlyCSE.h>
#include <llvm/Transforms/Scalar/SROA.h>
#include <llvm/Transforms/Scalar/SimplifyCFG.h>
#include <llvm/Transforms/Utils/Cloning.h>

#include <map>

namespace compute::kernel {
namespace {

class Inliner {
public:
    explicit Inliner(PassContext& context) : m_context(context) {
        m_promote.addPass(llvm::SROAPass(llvm::SROAOptions::PreserveCFG));
        m_simplify.addPass(llvm::EarlyCSEPass());
        m_simplify.addPass(llvm::SimplifyCFGPass());
    }

    platform::Result<void> flatten(llvm::Function& function);

private:
    enum class State : std::uint8_t { Open, Done };

    platform::Result<void> flattenCallees(const std::vector<llvm::CallInst*>& calls);
    platform::Result<void> inlineInto(llvm::Function& function,
                                      const std::vector<llvm::CallInst*>& calls);
    void reduce(llvm::Function& function);

    PassContext& m_context;
    llvm::FunctionPassManager m_promote;
    llvm::FunctionPassManager m_simplify;
    std::map<llvm::Function*, State> m_states;
};

std::vector<llvm::CallInst*> callsIn(llvm::Function& function) {
    std::vector<llvm::CallInst*> calls;
    for (llvm::Instruction& instruction : llvm::instructions(function))
        if (auto* call = llvm::dyn_cast<llvm::CallInst>(&instruction))
            if (!llvm::isa<llvm::IntrinsicInst>(call) && call->getCalledFunction() != nullptr)
                calls.push_back(call);
    return calls;
}

platform::Result<void> Inliner::inlineInto(llvm::Function& function,
                                           const std::vector<llvm::CallInst*>& calls) {
    unsigned size = function.getInstructionCount();
    for (llvm::CallInst* call : calls) {
        size += call->getCalledFunction()->getInstructionCount();
        if (size > maxInstructions)
            return platform::Error{"function '" + sourceName(function) +
                                   "' is too large: with everything that it calls it has more "
                                   "than " +
                                   std::to_string(maxInstructions) + " instructions"};
    }
    for (llvm::CallInst* call : calls) {
        const std::string callee = sourceName(*call->getCalledFunction());
        llvm::InlineFunctionInfo info;
        const llvm::InlineResult result =
            llvm::InlineFunction(*call, info, /*MergeAttributes=*/false, nullptr,
                                 /*InsertLifetime=*/false);
        if (!result.isSuccess())
            return platform::Error{"function '" + callee +
                                   "' cannot be used in a kernel: " + result.getFailureReason()};
    }
    return {};
}

void Inliner::reduce(llvm::Function& function) {
    m_context.analyses.forget(function);
    m_context.analyses.run(m_promote, function);
    replaceUndefinedOperands(function);
    m_context.analyses.forget(function);
    // Not worth the time in accessors and operators, which their callers simplify in bulk.
    constexpr unsigned smallFunction = 40;
    if (function.getInstructionCount() > smallFunction)
        m_context.analyses.run(m_simplify, function);
}

platform::Result<void> Inliner::flattenCallees(const std::vector<llvm::CallInst*>& calls) {
    for (llvm::CallInst* call : calls) {
        llvm::Function& callee = *call->getCalledFunction();
        if (callee.isDeclaration())
            return platform::Error{"function '" + sourceName(callee) + "' is not defined"};
        SL42_TRY_VOID(flatten(callee));
    }
    return {};
}

platform::Result<void> Inliner::flatten(llvm::Function& function) {
    if (const auto [place, isNew] = m_states.try_emplace(&function, State::Open); !isNew) {
        if (place->second == State::Open)
            return platform::Error{"function '" + sourceName(function) + "' calls itself"};
        return {};
    }
    // Reducing can make an indirect call direct, hence the loop.
    for (auto calls = callsIn(function);; calls = callsIn(function)) {
        SL42_TRY_VOID(flattenCallees(calls));
        SL42_TRY_VOID(inlineInto(function, calls));
        reduce(function);
        if (callsIn(function).empty())
            break;
    }
    m_states[&function] = State::Done;
    return {};
}

} // namespace

platform::Result<void> inlineCalls(PassContext& context) {
    Inliner inliner(context);
    std::vector<llvm::Function*> roots = initialiserFunctions(context.module);
    roots.push_back(context.entry);
    for (llvm::Function* root : roots)
        SL42_TRY_VOID(inliner.flatten(*root));
    for (llvm::Function* root : roots) {
        clearStackVariables(*root);
        context.analyses.forget(*root);
    }
    return {};
}

} // namespace compute::kernel
