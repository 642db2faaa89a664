// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// How many instructions a kernel would have with all calls inlined, how many copies of each
// function that makes, and how many instructions it saves to share one: the cost model behind
// partial inlining and sharing.
#pragma once

#include <llvm/IR/Function.h>

#include <map>
#include <vector>

namespace compute::kernel {

/// The functions that a kernel reaches, with their sizes.
class CallGraph {
public:
    explicit CallGraph(llvm::Function& entry);

    bool isRecursive() const { return m_isRecursive; }
    const std::vector<llvm::Function*>& calleesFirst() const { return m_calleesFirst; }
    /// Counts the function as called, or as copied, from the next weigh() on.
    void share(llvm::Function* function, bool isShared) { m_nodes[function].isShared = isShared; }
    bool isShared(llvm::Function* function) const { return m_nodes.at(function).isShared; }

    /// Computes sizes and copies, and returns the instructions of the whole kernel. Not for
    /// recursive graphs.
    double weigh();
    /// Instructions of the function and what is inlined into it.
    double size(llvm::Function* function) const { return m_nodes.at(function).size; }
    /// Instructions that it saves to share the function; 0 when that is not worth it.
    double saving(llvm::Function* function) const;

private:
    struct Node {
        std::map<llvm::Function*, double> callees; ///< and how often each is called
        double ownSize = 0;
        double size = 0;   ///< with all that is inlined into it
        double copies = 0; ///< of it in the kernel
        bool isShared = false;
    };

    std::map<llvm::Function*, Node> m_nodes;
    std::vector<llvm::Function*> m_calleesFirst;
    bool m_isRecursive = false;
};

} // namespace compute::kernel
