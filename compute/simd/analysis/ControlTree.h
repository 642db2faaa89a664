// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A partial linearisation of the control-flow graph: the order in which blocks are laid out when
// the lanes run through a kernel together, and what is known of the set of threads (the mask) that
// reaches each block.
//
// A loop is a single node of the level around it, so each level is acyclic. Within a level the tree
// is the dominator tree. Laying out a node and then its children in topological order keeps the
// region that a block dominates contiguous. So the region can be jumped over when no thread enters
// it, and values of it are used outside only by phis at the edges that leave it.
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
    /// The children of a block, or of a whole loop, within the level; in topological order.
    const Blocks& children(const Block* block) const { return lookUp(m_children, block); }
    const Blocks& childrenOfLoop(const llvm::Loop* loop) const {
        return lookUp(m_childrenOfLoop, loop->getHeader());
    }
    /// Whether the threads that reached the parent of this block reconverge here: all of them come,
    /// in the same iteration.
    bool reconverges(const Block* block) const { return m_reconverging.contains(block); }
    /// For a block that each iteration of its loop reaches unless all threads left before, and that
    /// ends by leaving the loop or staying in it: the successor in the loop. Null for all others.
    Block* continuation(const Block* block) const { return m_continuations.lookup(block); }
    /// Whether all threads leave the loop by the same exit in the same iteration, so that there is
    /// no temporal divergence.
    bool hasUniformExits(const llvm::Loop* loop) const { return m_uniformExits.contains(loop); }
    /// Whether each exit of the loop is at a block with a continuation(). Every exit can then be a
    /// real jump, taken as soon as no thread stays.
    bool allExitsJump(const llvm::Loop* loop) const { return m_jumpingExits.contains(loop); }
    /// The block where the mask with which `block` runs was last narrowed.
    const Block* maskRoot(const Block* block) const { return m_maskRoots.lookup(block); }

    /// The greatest number of regions nested in one another that may be jumped over.
    unsigned depth() const { return m_depth; }

    /// The targets of the edges that leave the region which `block` dominates in its level,
    /// including the loop header that back edges lead to.
    Blocks exitTargets(Block* block) const;
    /// The instructions of the region that `block` dominates, and whether running them with an
    /// empty mask could do harm.
    struct Weight {
        unsigned instructions = 0;
        bool needsThread = false;
    };
    const Weight& weight(const Block* block) const { return m_weights.find(block)->second; }

private:
    using Children = llvm::DenseMap<const Block*, Blocks>;
    static const Blocks& lookUp(const Children& children, const Block* block);

    llvm::Loop* levelOf(const Block* block) const { return m_loops.getLoopFor(block); }
    Block* nodeAt(Block* block, const llvm::Loop* level) const;
    /// The loop directly inside `level` that `block` is in.
    llvm::Loop* levelBelow(const Block* block, const llvm::Loop* level) const;
    void link(Block* block);
    void findReconvergence(const std::vector<Block*>& order);
    void findContinuations(const std::vector<Block*>& order);
    void findContinuation(Block* block, const llvm::Loop& loop);
    bool isAlwaysReached(const Block* node, const llvm::Loop* level) const;
    void classifyLoop(const llvm::Loop& loop);
    void weigh(const std::vector<Block*>& order);
    void findMaskRoots(const std::vector<Block*>& order);
    void findDepth(const std::vector<Block*>& order);
    /// The parent of `block` in the tree; when that is a loop, the loop's header.
    Block* parentOf(const Block* block) const;

    const llvm::DominatorTree& m_dominators;
    const llvm::LoopInfo& m_loops;
    const Uniformity& m_uniformity;
    Children m_children;
    Children m_childrenOfLoop;
    llvm::SmallPtrSet<const Block*, 16> m_reconverging;
    // What each iteration of the level around it reaches unless all threads left before.
    llvm::SmallPtrSet<const Block*, 16> m_alwaysReached;
    llvm::SmallPtrSet<const llvm::Loop*, 8> m_alwaysReachedLoops;
    llvm::DenseMap<const Block*, Block*> m_continuations;
    llvm::SmallPtrSet<const llvm::Loop*, 8> m_uniformExits;
    llvm::SmallPtrSet<const llvm::Loop*, 8> m_jumpingExits;
    llvm::DenseMap<const Block*, const Block*> m_maskRoots;
    llvm::DenseMap<const Block*, Weight> m_weights;
    unsigned m_depth = 0;
};

} // namespace compute::simd
