// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/kernel/sharing/CallGraph.h"

#include "compute/kernel/Calls.h"

#include <llvm/ADT/STLExtras.h>
#include <llvm/IR/InstIterator.h>

namespace compute::kernel {

CallGraph::CallGraph(llvm::Function& entry) : m_calleesFirst(kernel::calleesFirst(&entry)) {
    for (llvm::Function* function : m_calleesFirst) {
        Node node;
        node.ownSize = function->getInstructionCount();
        for (const llvm::Instruction& instruction : llvm::instructions(*function))
            if (llvm::Function* callee = calledFunction(instruction)) {
                node.callees[callee] += 1;
                m_isRecursive |= !m_nodes.contains(callee); // it should have come before
            }
        m_nodes[function] = std::move(node);
    }
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

double CallGraph::saving(llvm::Function* function) const {
    constexpr double worthCalling = 60; // below this a call is more work than what it calls
    constexpr double worthSharing = 3;  // fewer copies gain too little
    const Node& node = m_nodes.at(function);
    return node.size < worthCalling || node.copies < worthSharing || node.isShared
               ? 0
               : (node.copies - 1) * node.size;
}

} // namespace compute::kernel
