// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/kernel/sharing/ChooseShared.h"

#include "compute/kernel/passes/FoldInitialisers.h"
#include "compute/kernel/sharing/PartialInlining.h"

#include <llvm/ADT/STLExtras.h>
#include <llvm/ADT/SmallPtrSet.h>
#include <llvm/IR/InstIterator.h>

#include <algorithm>
#include <map>

namespace compute::kernel {
namespace {

/// Below this a call is more work than what it calls.
constexpr double worthCalling = 60;
/// Fewer copies gain too little.
constexpr double worthSharing = 3;
/// What a large kernel may grow by for the sake of fewer calls.
constexpr double growth = 1.2;
/// What follows a question that most threads answer with no costs little to call. So it is called
/// in smaller kernels too when that saves this part of
/// CompilerOptions::shareAbove.
constexpr double worthSplitting = 0.2;

/// The functions that a kernel reaches, with their sizes.
class CallGraph {
public:
    explicit CallGraph(llvm::Function& entry) { m_isRecursive = !visit(entry); }

    bool isRecursive() const { return m_isRecursive; }
    const std::vector<llvm::Function*>& calleesFirst() const { return m_calleesFirst; }
    void share(llvm::Function* function, bool isShared) { m_nodes[function].isShared = isShared; }
    bool isShared(llvm::Function* function) const { return m_nodes.at(function).isShared; }

    /// Finds sizes and copies anew. Returns the instructions of the whole kernel.
    double weigh();
    /// Instructions of the function and what it calls.
    double size(llvm::Function* function) const { return m_nodes.at(function).size; }
    /// Instructions that sharing the function saves.
    double saving(llvm::Function* function) const {
        const Node& node = m_nodes.at(function);
        return node.size < worthCalling || node.copies < worthSharing || node.isShared
                   ? 0
                   : (node.copies - 1) * node.size;
    }

private:
    struct Node {
        std::map<llvm::Function*, double> callees; ///< and how often each is called
        double ownSize = 0;
        double size = 0;   ///< with all that is inlined into it
        double copies = 0; ///< of it in the kernel
        bool isShared = false;
        bool isOpen = true;
    };
    bool visit(llvm::Function& function);

    std::map<llvm::Function*, Node> m_nodes;
    std::vector<llvm::Function*> m_calleesFirst;
    bool m_isRecursive = false;
};

/// False when the function calls itself.
bool CallGraph::visit(llvm::Function& function) {
    Node& node = m_nodes[&function];
    node.ownSize = function.getInstructionCount();
    for (llvm::Instruction& instruction : llvm::instructions(function)) {
        auto* call = llvm::dyn_cast<llvm::CallInst>(&instruction);
        llvm::Function* callee = call != nullptr ? call->getCalledFunction() : nullptr;
        if (callee == nullptr || callee->isDeclaration())
            continue;
        node.callees[callee] += 1;
        if (const auto known = m_nodes.find(callee); known != m_nodes.end()) {
            if (known->second.isOpen)
                return false;
        } else if (!visit(*callee)) {
            return false;
        }
    }
    node.isOpen = false;
    m_calleesFirst.push_back(&function);
    return true;
}

double CallGraph::weigh() {
    double total = 0;
    for (llvm::Function* function : m_calleesFirst) {
        Node& node = m_nodes[function];
        node.size = node.ownSize;
        node.copies = 0;
        for (const auto& [callee, times] : node.callees)
            if (!m_nodes[callee].isShared)
                node.size += times * m_nodes[callee].size;
        if (node.isShared)
            total += node.size;
    }
    for (llvm::Function* function : llvm::reverse(m_calleesFirst)) {
        Node& node = m_nodes[function];
        if (node.isShared || function == m_calleesFirst.back())
            node.copies = 1;
        for (const auto& [callee, times] : node.callees)
            m_nodes[callee].copies += times * node.copies;
    }
    return total + m_nodes[m_calleesFirst.back()].size;
}

llvm::SmallPtrSet<llvm::Function*, 16> reachedBy(std::vector<llvm::Function*> open) {
    llvm::SmallPtrSet<llvm::Function*, 16> found(open.begin(), open.end());
    while (!open.empty()) {
        llvm::Function* function = open.back();
        open.pop_back();
        for (llvm::Instruction& instruction : llvm::instructions(*function))
            if (auto* call = llvm::dyn_cast<llvm::CallInst>(&instruction))
                if (llvm::Function* callee = call->getCalledFunction())
                    if (found.insert(callee).second)
                        open.push_back(callee);
    }
    return found;
}

/// Splits the functions for which that saves enough. Returns their new halves.
std::vector<llvm::Function*> splitLargest(PassContext& context, const CallGraph& graph,
                                          double enough) {
    std::vector<llvm::Function*> made;
    const auto sizeOf = [&](llvm::Function& callee) { return graph.size(&callee); };
    for (llvm::Function* function : graph.calleesFirst())
        if (function != context.entry && graph.saving(function) > enough)
            if (llvm::Function* rest = splitGuards(*function, sizeOf)) {
                made.push_back(rest);
                context.analyses.functions().clear(*function, function->getName());
            }
    return made;
}

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

} // namespace

std::vector<llvm::Function*> chooseShared(PassContext& context, PrivatePointers& pointers) {
    const double limit = context.options.shareAbove;
    const double enough = worthSplitting * limit;
    CallGraph graph(*context.entry);
    if (graph.isRecursive() || graph.weigh() <= enough)
        return {};
    const std::vector<llvm::Function*> rests = splitLargest(context, graph, enough);
    if (!rests.empty())
        graph = CallGraph(*context.entry);
    const double weight = graph.weigh();
    if ((rests.empty() && weight <= limit) ||
        llvm::any_of(graph.calleesFirst(),
                     [&](const auto* function) { return pointers.escapesFrom(*function); }))
        return {};
    const auto excluded = reachedBy(initialiserFunctions(context.module));
    std::vector<llvm::Function*> candidates;
    for (llvm::Function* function : graph.calleesFirst())
        if (function != context.entry && !excluded.contains(function) &&
            graph.saving(function) > 0 && pointers.canPassByValue(*function))
            candidates.push_back(function);
    for (llvm::Function* function : candidates)
        if (llvm::is_contained(rests, function) && graph.saving(function) > enough)
            graph.share(function, true);
    shareLargest(graph, limit, candidates);
    std::vector<llvm::Function*> shared;
    for (llvm::Function* function : graph.calleesFirst())
        if (graph.isShared(function))
            shared.push_back(function);
    return shared;
}

} // namespace compute::kernel
