// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Where threads that part come together again, having come by different ways: behind a branch, and
// behind a loop that they leave in different rounds. Values that meet there differ by thread even
// when each of them is the same for all.
#pragma once

#include <llvm/ADT/DenseMap.h>
#include <llvm/ADT/SetVector.h>
#include <llvm/Analysis/LoopInfo.h>
#include <llvm/Analysis/PostDominators.h>
#include <llvm/IR/Dominators.h>

#include <vector>

namespace compute::simd {

/// Of one function, whose loops each have one entry.
class DivergentJoins {
public:
    /// `dominators` must outlive this.
    DivergentJoins(llvm::Function& function, const llvm::DominatorTree& dominators);

    /// Behind the branch that ends the block, in the same round of the loops around it.
    std::vector<llvm::BasicBlock*> behind(llvm::BasicBlock& block) const;
    std::vector<llvm::BasicBlock*> behind(const llvm::Loop& loop) const;

    /// The loops that some threads leave by the branch that ends the block while others stay.
    std::vector<const llvm::Loop*> leftBy(llvm::BasicBlock& block) const;

private:
    using Edge = std::pair<llvm::BasicBlock*, llvm::BasicBlock*>;
    using Edges = llvm::SmallSetVector<Edge, 4>;
    using Blocks = std::vector<llvm::BasicBlock*>;

    Edges edgesOf(llvm::BasicBlock& block) const;
    const llvm::BasicBlock* endOf(llvm::BasicBlock& block) const;
    /// What threads may run through that part over the edges, until all have come to `end`, which
    /// is included; in an order in which each comes after what leads there. Rounds of the loops
    /// around `start` end there as well.
    Blocks partedOver(const Edges& edges, const llvm::BasicBlock& start,
                      const llvm::BasicBlock* end) const;
    std::vector<llvm::BasicBlock*> joins(const Edges& edges, const Blocks& parted) const;

    const llvm::DominatorTree& m_dominators;
    llvm::PostDominatorTree m_postDominators;
    llvm::LoopInfo m_loops;
    llvm::DenseMap<const llvm::BasicBlock*, unsigned> m_order;
};

} // namespace compute::simd
