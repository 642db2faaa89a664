// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/kernel/sharing/InlineCalls.h"

#include "compute/kernel/passes/BoundIndices.h"
#include "compute/kernel/passes/FoldInitialisers.h"
#include "compute/kernel/passes/Undefined.h"
#include "compute/kernel/sharing/ChooseShared.h"
#include "compute/kernel/sharing/EliminateArguments.h"
#include "compute/kernel/sharing/PromoteArguments.h"

#include <llvm/ADT/STLExtras.h>
#include <llvm/ADT/SetVector.h>
#include <llvm/ADT/SmallPtrSet.h>
#include <llvm/Analysis/CFG.h>
#include <llvm/IR/InstIterator.h>
#include <llvm/IR/IntrinsicInst.h>
#include <llvm/Transforms/Scalar/EarlyCSE.h>
#include <llvm/Transforms/Scalar/SROA.h>
#include <llvm/Transforms/Scalar/SimplifyCFG.h>
#include <llvm/Transforms/Utils/Cloning.h>

#include <map>

namespace compute::kernel {
namespace {

using Calls = llvm::SmallVector<llvm::CallInst*>;

Calls callsIn(llvm::Function& function) {
    Calls calls;
    for (llvm::Instruction& instruction : llvm::instructions(function))
        if (auto* call = llvm::dyn_cast<llvm::CallInst>(&instruction))
            if (!llvm::isa<llvm::IntrinsicInst>(call) && call->getCalledFunction() != nullptr)
                calls.push_back(call);
    return calls;
}

bool isInLoop(const llvm::BasicBlock& block) {
    return llvm::any_of(llvm::successors(&block), [&](const llvm::BasicBlock* next) {
        return llvm::isPotentiallyReachable(next, &block);
    });
}

/// Brings single functions into a form that is worth copying.
class Reducer {
public:
    explicit Reducer(Analyses& analyses) : m_analyses(analyses) {
        m_promote.addPass(llvm::SROAPass(llvm::SROAOptions::PreserveCFG));
        m_simplify.addPass(llvm::EarlyCSEPass());
        m_simplify.addPass(llvm::SimplifyCFGPass());
    }

    void reduce(llvm::Function& function);
    /// The same without what later passes do to the whole kernel.
    void promote(llvm::Function& function);

private:
    Analyses& m_analyses;
    llvm::FunctionPassManager m_promote;
    llvm::FunctionPassManager m_simplify;
};

void Reducer::promote(llvm::Function& function) {
    boundConstantOffsets(function);
    m_analyses.forget(function);
    m_analyses.run(m_promote, function);
    replaceUndefinedOperands(function);
    m_analyses.forget(function);
}

void Reducer::reduce(llvm::Function& function) {
    promote(function);
    // Not worth the time in accessors and operators, which their callers simplify in bulk.
    constexpr unsigned smallFunction = 40;
    if (function.size() > 1 || function.getInstructionCount() > smallFunction)
        m_analyses.run(m_simplify, function);
}

/// Simplifies what the roots reach, callers first, so that what a caller knows (a function
/// constant, a sampler) is known in its callees, and calls in dead branches are gone before
/// anything is copied.
class Preparation {
public:
    explicit Preparation(PassContext& context, Reducer& reducer)
        : m_context(context), m_reducer(reducer) {}

    void run(const std::vector<llvm::Function*>& roots) {
        for (llvm::Function* root : roots)
            visit(*root);
        for (llvm::Function* function : llvm::reverse(m_calleesFirst))
            prepare(*function, llvm::is_contained(roots, function));
    }

private:
    void visit(llvm::Function& function) {
        if (function.isDeclaration() || !m_seen.insert(&function).second)
            return;
        for (llvm::CallInst* call : callsIn(function))
            visit(*call->getCalledFunction());
        m_calleesFirst.push_back(&function);
    }

    void prepare(llvm::Function& function, bool isRoot) {
        if (!isRoot && function.use_empty()) {
            m_context.analyses.functions().clear(function, function.getName());
            function.deleteBody();
            return;
        }
        takeConstantArguments(function);
        m_reducer.reduce(function);
    }

    /// Replaces the parameters for which every call passes the same constant.
    static void takeConstantArguments(llvm::Function& function) {
        const bool isOnlyCalled = llvm::all_of(function.uses(), [](const llvm::Use& use) {
            const auto* call = llvm::dyn_cast<llvm::CallInst>(use.getUser());
            return call != nullptr && call->isCallee(&use);
        });
        if (!isOnlyCalled || function.use_empty())
            return;
        for (llvm::Argument& argument : function.args()) {
            const auto passed = [&](const llvm::User* user) {
                return llvm::cast<llvm::CallInst>(user)->getArgOperand(argument.getArgNo());
            };
            auto* constant = llvm::dyn_cast<llvm::Constant>(passed(*function.user_begin()));
            if (constant == nullptr || argument.hasByValAttr())
                continue;
            if (llvm::all_of(function.users(),
                             [&](auto* user) { return passed(user) == constant; }))
                argument.replaceAllUsesWith(constant);
        }
    }

    PassContext& m_context;
    Reducer& m_reducer;
    llvm::SmallPtrSet<llvm::Function*, 32> m_seen;
    std::vector<llvm::Function*> m_calleesFirst;
};

class Inliner {
public:
    explicit Inliner(PassContext& context, Reducer& reducer)
        : m_context(context), m_reducer(reducer) {}

    platform::Result<void> flatten(llvm::Function& function);
    /// Flattens the function and keeps it, so that what calls it goes on to do so.
    platform::Result<void> keep(llvm::Function& function, PrivatePointers& pointers);
    /// What is kept, callees before their callers, once nothing more is inlined into it.
    std::vector<llvm::Function*> kept();

private:
    enum class State : std::uint8_t { Open, Done };

    Calls callsToInline(llvm::Function& function) const {
        Calls calls = callsIn(function);
        llvm::erase_if(calls, [&](llvm::CallInst* call) {
            return m_kept.contains(call->getCalledFunction());
        });
        return calls;
    }
    platform::Result<void> inlineAll(llvm::Function& function, Calls calls);
    /// The calls that came with the callee's body.
    platform::Result<Calls> inlineCall(llvm::CallInst& call);

    PassContext& m_context;
    Reducer& m_reducer;
    std::map<llvm::Function*, State> m_states;
    llvm::SetVector<llvm::Function*> m_kept;
};

platform::Result<Calls> Inliner::inlineCall(llvm::CallInst& call) {
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
        if (auto* direct = llvm::dyn_cast<llvm::CallInst>(inner))
            if (!llvm::isa<llvm::IntrinsicInst>(direct) && direct->getCalledFunction() != nullptr &&
                !m_kept.contains(direct->getCalledFunction()))
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
    // Reducing can make an indirect call direct, hence the loop.
    for (auto calls = callsToInline(function); !calls.empty(); calls = callsToInline(function)) {
        SL42_TRY_VOID(inlineAll(function, std::move(calls)));
        if (function.use_empty()) // a kernel; nobody will copy it
            m_reducer.promote(function);
        else
            m_reducer.reduce(function);
    }
    m_states[&function] = State::Done;
    return {};
}

platform::Result<void> Inliner::keep(llvm::Function& function, PrivatePointers& pointers) {
    SL42_TRY_VOID(flatten(function));
    m_context.analyses.functions().clear(function, function.getName());
    if (llvm::Function* made = promoteArguments(function, pointers)) {
        m_kept.insert(made);
        m_reducer.promote(*made);
    }
    return {};
}

std::vector<llvm::Function*> Inliner::kept() {
    // Callers first: what they pass is only known once they have been promoted.
    std::vector<llvm::Function*> narrow;
    for (llvm::Function* function : llvm::reverse(m_kept)) {
        m_context.analyses.functions().clear(*function, function->getName());
        narrow.push_back(eliminateArguments(*function));
        narrow.back()->setAttributes(llvm::AttributeList::get(
            m_context.module.getContext(), m_context.entry->getAttributes().getFnAttrs(), {}, {}));
        // A frame larger than the guard page below the stack must not step over it.
        narrow.back()->addFnAttr("probe-stack", "inline-asm");
        clearStackVariables(*narrow.back());
        m_reducer.promote(*narrow.back());
    }
    std::ranges::reverse(narrow);
    return narrow;
}

} // namespace

platform::Result<void> inlineCalls(PassContext& context) {
    std::vector<llvm::Function*> roots = initialiserFunctions(context.module);
    roots.push_back(context.entry);
    Reducer reducer(context.analyses);
    Preparation(context, reducer).run(roots);
    Inliner inliner(context, reducer);
    PrivatePointers pointers;
    for (llvm::Function* function : chooseShared(context, pointers))
        SL42_TRY_VOID(inliner.keep(*function, pointers));
    for (llvm::Function* root : roots)
        SL42_TRY_VOID(inliner.flatten(*root));
    context.shared = inliner.kept();
    for (llvm::Function* root : roots) {
        clearStackVariables(*root);
        context.analyses.forget(*root);
    }
    return {};
}

} // namespace compute::kernel
