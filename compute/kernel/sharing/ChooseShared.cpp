// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/kernel/sharing/ChooseShared.h"

#include "compute/kernel/Calls.h"
#include "compute/kernel/passes/FoldInitialisers.h"
#include "compute/kernel/sharing/CallGraph.h"
#include "compute/kernel/sharing/PartialInlining.h"
#include "compute/kernel/sharing/PrivatePointers.h"

#include <llvm/ADT/STLExtras.h>

#include <algorithm>

namespace compute::kernel {
namespace {

/// What a large kernel may grow by for the sake of fewer calls.
constexpr double growth = 1.2;

/// Shares one function after the other until the kernel is small, or none is worth it.
void shareLargest(CallGraph& graph, double limit, const std::vector<llvm::Function*>& candidates) {
    std::vector<llvm::Function*> shared;
    while (graph.weigh() > limit) {
        const auto best = std::ranges::max_element(
            candidates, {}, [&](llvm::Function* function) { return graph.saving(function); });
        if (best == candidates.end() || graph.saving(*best) <= 0)
            break;
        graph.share(*best, true);
        shared.push_back(*best);
    }
    // What was shared early may be part of what was shared later, and not be worth it any more.
    const double allowed = std::max(limit, growth * graph.weigh());
    for (llvm::Function* function : shared) {
        graph.share(function, false);
        if (graph.weigh() > allowed)
            graph.share(function, true);
    }
}

/// The functions that may be shared. What the initialisers of variables call may not, and neither
/// may functions in which threads work together: where these wait for one another, the kernel is
/// taken apart.
std::vector<llvm::Function*> findCandidates(const PassContext& context, const CallGraph& graph,
                                            PrivatePointers& pointers) {
    const std::vector<llvm::Function*> excluded =
        calleesFirst(initialiserFunctions(context.module));
    std::vector<llvm::Function*> candidates;
    for (llvm::Function* function : graph.calleesFirst())
        if (function != context.entry && !llvm::is_contained(excluded, function) &&
            !function->isConvergent() && graph.saving(function) > 0 &&
            pointers.canPassByValue(*function))
            candidates.push_back(function);
    return candidates;
}

void mark(llvm::Function& function, PrivatePointers& pointers) {
    function.addFnAttr(sharedAttribute);
    for (llvm::Argument& parameter : function.args())
        if (parameter.getType()->isPointerTy() && pointers.isPrivate(parameter))
            parameter.addAttr(llvm::Attribute::get(function.getContext(), byValueAttribute));
}

} // namespace

bool isShared(const llvm::Function& function) {
    return function.hasFnAttribute(sharedAttribute);
}

platform::Result<void> chooseShared(PassContext& context) {
    const double limit = context.options.shareAbove;
    CallGraph graph(*context.entry);
    if (graph.isRecursive())
        return {};
    const bool isSplit = llvm::any_of(graph.calleesFirst(),
                                      [](const auto* function) { return isOutlined(*function); });
    if (graph.weigh() <= limit && !isSplit)
        return {};
    PrivatePointers pointers;
    if (llvm::any_of(graph.calleesFirst(),
                     [&](const auto* function) { return pointers.escapesFrom(*function); }))
        return {};
    const std::vector<llvm::Function*> candidates = findCandidates(context, graph, pointers);
    for (llvm::Function* function : candidates)
        if (isOutlined(*function) && graph.saving(function) > worthOutlining * limit)
            graph.share(function, true);
    shareLargest(graph, limit, candidates);
    for (llvm::Function* function : graph.calleesFirst())
        if (graph.isShared(function))
            mark(*function, pointers);
    return {};
}

} // namespace compute::kernel
