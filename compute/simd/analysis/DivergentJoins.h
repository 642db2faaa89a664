// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Joins of divergent control flow (sync dependence): the blocks that threads reach over disjoint
// paths, from a divergent branch or from a loop that they leave in different iterations (temporal
// divergence). A phi of such a block varies by lane even when all of its operands are uniform.
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

    /// The joins of the branch that ends the block, within one iteration of the loops around it.
    std::vector<llvm::BasicBlock*> ofBranch(llvm::BasicBlock& block) const;
    /// The joins of all edges that leave the loop.
    std::vector<llvm::BasicBlock*> ofExits(const llvm::Loop& loop) const;

    /// The loops that become temporally divergent when the branch that ends the block diverges:
    /// some threads leave them while others stay.
    std::vector<const llvm::Loop*> loopsLeftBy(llvm::BasicBlock& block) const;

private:
    using Edge = std::pair<llvm::BasicBlock*, llvm::BasicBlock*>;
    using Edges = llvm::SmallSetVector<Edge, 4>;
    using Blocks = std::vector<llvm::BasicBlock*>;

    Edges edgesOf(llvm::BasicBlock& block) const;
    /// The immediate post-dominator, where threads reconverge at the latest.
    const llvm::BasicBlock* reconvergenceOf(llvm::BasicBlock& block) const;
    /// The blocks that threads which diverged over `edges` may run, up to and including `end`, in
    /// topological order. Back edges to the loops around `start` are not followed.
    Blocks divergentRegion(const Edges& edges, const llvm::BasicBlock& start,
                           const llvm::BasicBlock* end) const;
    std::vector<llvm::BasicBlock*> joins(const Edges& edges, const Blocks& region) const;

    const llvm::DominatorTree& m_dominators;
    llvm::PostDominatorTree m_postDominators;
    llvm::LoopInfo m_loops;
    llvm::DenseMap<const llvm::BasicBlock*, unsigned> m_order;
};

} // namespace compute::simd
