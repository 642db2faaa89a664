// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The order in which blocks are laid out when threads walk a kernel together, and what is known of
// the set of threads that reach each block.
//
// Loops are single nodes of the level around them, so each level is free of cycles. In a level,
// every block hangs below its immediate dominator. Laying out a node, then what hangs below it in
// topological order, keeps all that a block dominates in one piece: the piece can be jumped over
// when no thread enters it, and no value of it is used outside but by phis at edges that leave it.
#pragma once

#include "compute/simd/analysis/Uniformity.h"

#include <llvm/Analysis/LoopInfo.h>
#include <llvm/IR/CFG.h>
#include <llvm/IR/Dominators.h>

#include <vector>

namespace compute::simd {

using Block = llvm::BasicBlock;
using Blocks = llvm::SmallVector<Block*, 4>;

/// Needs loops with preheaders, one back edge each, and exits of their own.
class ControlTree {
public:
    ControlTree(llvm::Function& kernel, const llvm::DominatorTree& dominators,
                const llvm::LoopInfo& loops, const Uniformity& uniformity);

    const llvm::LoopInfo& loops() const { return m_loops; }
    /// What hangs below a block, or below a whole loop, in its level, in topological order.
    const Blocks& below(const Block* block) const { return childrenOf(m_below, block); }
    const Blocks& belowLoop(const llvm::Loop* loop) const {
        return childrenOf(m_belowLoop, loop->getHeader());
    }
    /// Whether every thread that reached the node above reaches this block in the same iteration.
    bool rejoins(const Block* block) const { return m_rejoins.contains(block); }
    /// For a block that each iteration of its loop reaches unless all threads left before, and that
    /// ends by leaving the loop or going on: the block where it goes on. Null for all others.
    Block* continuation(const Block* block) const { return m_continuations.lookup(block); }
    /// Whether all threads leave the loop at the same place in the same iteration.
    bool leavesTogether(const llvm::Loop* loop) const { return m_together.contains(loop); }
    /// Whether all ways out of the loop are at blocks with a continuation().
    bool leavesInTheOpen(const llvm::Loop* loop) const { return m_open.contains(loop); }
    /// The block where the set of threads that reaches `block` was last narrowed.
    const Block* maskRoot(const Block* block) const { return m_maskRoots.lookup(block); }

    /// How many pieces that may be jumped over lie inside one another, at most.
    unsigned depth() const { return m_depth; }

    /// Blocks reached by edges that leave the piece which begins at `block`; also the header that
    /// the piece goes back to.
    Blocks targetsBeyond(Block* block) const;
    /// Instructions in the piece which begins at `block`, and whether running it without any thread
    /// could do harm.
    struct Weight {
        unsigned instructions = 0;
        bool needsThread = false;
    };
    const Weight& weight(const Block* block) const { return m_weights.find(block)->second; }

private:
    using Children = llvm::DenseMap<const Block*, Blocks>;
    static const Blocks& childrenOf(const Children& children, const Block* block);

    llvm::Loop* levelOf(const Block* block) const { return m_loops.getLoopFor(block); }
    Block* nodeAt(Block* block, const llvm::Loop* level) const;
    /// The loop directly inside `level` that `block` is in.
    llvm::Loop* levelBelow(const Block* block, const llvm::Loop* level) const;
    void link(Block* block);
    void findRejoins(const std::vector<Block*>& order);
    void findContinuations(const std::vector<Block*>& order);
    void findContinuation(Block* block, const llvm::Loop& loop);
    bool isReliable(const Block* node, const llvm::Loop* level) const;
    void judgeLoop(const llvm::Loop& loop);
    void weigh(const std::vector<Block*>& order);
    void findMaskRoots(const std::vector<Block*>& order);
    void findDepth(const std::vector<Block*>& order);
    /// The node that `block` hangs below; its loop's header when that node is a loop.
    Block* parentOf(const Block* block) const;

    const llvm::DominatorTree& m_dominators;
    const llvm::LoopInfo& m_loops;
    const Uniformity& m_uniformity;
    Children m_below;
    Children m_belowLoop;
    llvm::SmallPtrSet<const Block*, 16> m_rejoins;
    // Reached by each iteration of the level around them unless all threads left before.
    llvm::SmallPtrSet<const Block*, 16> m_reliable;
    llvm::SmallPtrSet<const llvm::Loop*, 8> m_reliableLoops;
    llvm::DenseMap<const Block*, Block*> m_continuations;
    llvm::SmallPtrSet<const llvm::Loop*, 8> m_together;
    llvm::SmallPtrSet<const llvm::Loop*, 8> m_open;
    llvm::DenseMap<const Block*, const Block*> m_maskRoots;
    llvm::DenseMap<const Block*, Weight> m_weights;
    unsigned m_depth = 0;
};

} // namespace compute::simd
