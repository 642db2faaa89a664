// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/simd/analysis/ControlTree.h"

#include "compute/kernel/Calls.h"

#include <llvm/ADT/PostOrderIterator.h>
#include <llvm/ADT/STLExtras.h>
#include <llvm/ADT/SetVector.h>
#include <llvm/Analysis/ValueTracking.h>
#include <llvm/IR/Instructions.h>

namespace compute::simd {
namespace {

std::vector<Block*> topologicalOrder(llvm::Function& kernel) {
    std::vector<Block*> order;
    for (Block* block : llvm::ReversePostOrderTraversal(&kernel))
        order.push_back(block);
    return order;
}

} // namespace

ControlTree::ControlTree(llvm::Function& kernel, const llvm::DominatorTree& dominators,
                         const llvm::LoopInfo& loops, const Uniformity& uniformity)
    : m_dominators(dominators), m_loops(loops), m_uniformity(uniformity) {
    const std::vector<Block*> order = topologicalOrder(kernel);
    for (Block* block : order)
        link(block);
    findRejoins(order);
    findContinuations(order);
    for (const llvm::Loop* loop : loops.getLoopsInPreorder())
        judgeLoop(*loop);
    weigh(order);
    findMaskRoots(order);
    findDepth(order);
}

const Blocks& ControlTree::childrenOf(const Children& children, const Block* block) {
    static const Blocks none;
    const auto found = children.find(block);
    return found == children.end() ? none : found->second;
}

Block* ControlTree::nodeAt(Block* block, const llvm::Loop* level) const {
    return levelOf(block) == level ? block : levelBelow(block, level)->getHeader();
}

llvm::Loop* ControlTree::levelBelow(const Block* block, const llvm::Loop* level) const {
    llvm::Loop* inner = levelOf(block);
    while (inner->getParentLoop() != level)
        inner = inner->getParentLoop();
    return inner;
}

Block* ControlTree::parentOf(const Block* block) const {
    const auto* node = m_dominators.getNode(block)->getIDom();
    if (node == nullptr)
        return nullptr;
    const llvm::Loop* level = levelOf(block);
    // A loop's header has its parent in the level around the loop.
    if (level != nullptr && level->getHeader() == block)
        level = level->getParentLoop();
    return nodeAt(node->getBlock(), level);
}

void ControlTree::link(Block* block) {
    Block* parent = parentOf(block);
    if (parent == nullptr)
        return;
    const llvm::Loop* level = levelOf(block);
    if (level != nullptr && level->getHeader() == block)
        level = level->getParentLoop();
    const bool isBelowLoop = levelOf(parent) != level;
    (isBelowLoop ? m_belowLoop : m_below)[parent].push_back(block);
}

/// Finds, in each level, the node that all ways from a node come together in: post-dominators of
/// one iteration. Back edges and ways out of the level lead to one common end.
void ControlTree::findRejoins(const std::vector<Block*>& order) {
    llvm::DenseMap<const Block*, unsigned> position;
    for (unsigned i = 0; i < order.size(); ++i)
        position[order[i]] = i;
    const unsigned end = static_cast<unsigned>(order.size());
    // A header stands for its loop in `around` and for itself in `meet`.
    std::vector<unsigned> meet(order.size(), end);
    std::vector<unsigned> around(order.size(), end);

    const auto positionAt = [&](Block* target, const llvm::Loop* level) {
        if (level != nullptr && (target == level->getHeader() || !level->contains(target)))
            return end;
        return position[nodeAt(target, level)];
    };
    const auto above = [&](unsigned node, const llvm::Loop* level) {
        const bool isLoop = levelOf(order[node]) != level;
        return isLoop ? around[node] : meet[node];
    };
    const auto common = [&](unsigned a, unsigned b, const llvm::Loop* level) {
        while (a != b)
            (a < b ? a : b) = above(std::min(a, b), level);
        return a;
    };
    const auto join = [&](auto&& targets, const llvm::Loop* level) {
        unsigned found = end;
        bool isFirst = true;
        for (Block* target : targets) {
            const unsigned next = positionAt(target, level);
            found = isFirst ? next : common(found, next, level);
            isFirst = false;
        }
        return found;
    };
    for (unsigned i = end; i-- > 0;) {
        Block* block = order[i];
        llvm::Loop* level = levelOf(block);
        meet[i] = join(llvm::successors(block), level);
        if (level != nullptr && level->getHeader() == block) {
            llvm::SmallVector<Block*> exits;
            level->getUniqueExitBlocks(exits);
            around[i] = join(exits, level->getParentLoop());
        }
    }
    const auto mark = [&](const Children& children, const std::vector<unsigned>& joins) {
        for (const auto& [parent, blocks] : children)
            for (Block* child : blocks)
                if (joins[position[parent]] == position[child])
                    m_rejoins.insert(child);
    };
    mark(m_below, meet);
    mark(m_belowLoop, around);
}

/// Whether each iteration of the level around `node` reaches it. A header stands for its loop.
bool ControlTree::isReliable(const Block* node, const llvm::Loop* level) const {
    const Block* parent = parentOf(node);
    if (levelOf(parent) != level)
        return m_rejoins.contains(node) && m_reliableLoops.contains(levelBelow(parent, level));
    return m_reliable.contains(parent) &&
           (m_rejoins.contains(node) || m_continuations.lookup(parent) == node);
}

void ControlTree::findContinuations(const std::vector<Block*>& order) {
    for (Block* block : order) {
        llvm::Loop* level = levelOf(block);
        if (level == nullptr)
            continue;
        if (level->getHeader() == block) {
            m_reliable.insert(block);
            if (level->getParentLoop() != nullptr && isReliable(block, level->getParentLoop()))
                m_reliableLoops.insert(level);
        } else if (isReliable(block, level)) {
            m_reliable.insert(block);
        }
        if (m_reliable.contains(block))
            findContinuation(block, *level);
    }
}

void ControlTree::findContinuation(Block* block, const llvm::Loop& loop) {
    auto* branch = llvm::dyn_cast<llvm::BranchInst>(block->getTerminator());
    if (branch == nullptr || !branch->isConditional())
        return;
    for (unsigned i : {0u, 1u}) {
        Block* next = branch->getSuccessor(i);
        if (!loop.contains(branch->getSuccessor(1 - i)) && loop.contains(next) &&
            next != loop.getHeader() && next->getSinglePredecessor() == block)
            m_continuations[block] = next;
    }
}

void ControlTree::judgeLoop(const llvm::Loop& loop) {
    llvm::SmallVector<Block*> leaving;
    loop.getExitingBlocks(leaving);
    const bool isOpen = llvm::all_of(leaving, [&](Block* block) {
        return levelOf(block) == &loop && m_continuations.contains(block);
    });
    if (!isOpen)
        return;
    m_open.insert(&loop);
    if (llvm::none_of(leaving, [&](Block* block) { return m_uniformity.parts(*block); }))
        m_together.insert(&loop);
}

Blocks ControlTree::targetsBeyond(Block* first) const {
    const llvm::Loop* level = levelOf(first);
    if (level != nullptr && level->getHeader() == first)
        level = level->getParentLoop();
    llvm::SmallSetVector<Block*, 4> found;
    llvm::SmallVector<Block*> inside;
    m_dominators.getDescendants(first, inside);
    const auto isInside = [&](Block* block) {
        return (level == nullptr || level->contains(block)) && m_dominators.dominates(first, block);
    };
    for (Block* block : inside)
        if (isInside(block))
            for (Block* target : llvm::successors(block))
                if (!isInside(target))
                    found.insert(target);
    return Blocks(found.begin(), found.end());
}

void ControlTree::weigh(const std::vector<Block*>& order) {
    for (Block* block : llvm::reverse(order)) {
        Weight& own = m_weights[block];
        own.instructions += static_cast<unsigned>(block->size());
        const auto* branch = llvm::dyn_cast<llvm::BranchInst>(block->getTerminator());
        own.needsThread |=
            branch != nullptr && branch->isConditional() && !m_uniformity.parts(*block);
        own.needsThread |= m_loops.isLoopHeader(block);
        own.needsThread |= llvm::any_of(*block, [](const llvm::Instruction& instruction) {
            const auto* call = llvm::dyn_cast<llvm::CallBase>(&instruction);
            if (call != nullptr && kernel::isCallOfProgram(*call))
                return true;
            return !llvm::isa<llvm::PHINode>(instruction) && !instruction.isTerminator() &&
                   !llvm::isSafeToSpeculativelyExecute(&instruction);
        });
        if (Block* parent = parentOf(block)) {
            const Weight piece = own;
            Weight& above = m_weights[parent];
            above.instructions += piece.instructions;
            above.needsThread |= piece.needsThread;
        }
    }
}

void ControlTree::findMaskRoots(const std::vector<Block*>& order) {
    llvm::DenseMap<const llvm::Loop*, const Block*> rootsOfLoops;
    for (Block* block : order) {
        const llvm::Loop* level = levelOf(block);
        const bool isHeader = level != nullptr && level->getHeader() == block;
        if (isHeader)
            level = level->getParentLoop();
        const Block* root = block;
        if (const Block* parent = parentOf(block)) {
            const bool isSame =
                m_rejoins.contains(block) ||
                (block->getSinglePredecessor() == parent && !m_uniformity.parts(*parent));
            if (isSame)
                root = levelOf(parent) == level ? m_maskRoots.lookup(parent)
                                                : rootsOfLoops.lookup(levelBelow(parent, level));
        }
        if (isHeader) {
            rootsOfLoops[levelOf(block)] = root;
            if (!leavesTogether(levelOf(block)))
                root = block;
        }
        m_maskRoots[block] = root;
    }
}

void ControlTree::findDepth(const std::vector<Block*>& order) {
    llvm::DenseMap<const Block*, unsigned> depths;
    for (Block* block : order) {
        const Block* parent = parentOf(block);
        if (parent == nullptr)
            continue;
        const bool isFlat = m_rejoins.contains(block) || continuation(parent) == block;
        const unsigned depth =
            depths.lookup(parent) + (isFlat && !m_loops.isLoopHeader(block) ? 0 : 1);
        depths[block] = depth;
        m_depth = std::max(m_depth, depth);
    }
}

} // namespace compute::simd
