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
    findReconvergence(order);
    findContinuations(order);
    for (const llvm::Loop* loop : loops.getLoopsInPreorder())
        classifyLoop(*loop);
    weigh(order);
    findMaskRoots(order);
    findDepth(order);
}

const Blocks& ControlTree::lookUp(const Children& children, const Block* block) {
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
    const bool isChildOfLoop = levelOf(parent) != level;
    (isChildOfLoop ? m_childrenOfLoop : m_children)[parent].push_back(block);
}

/// Finds the immediate post-dominator of each node within one iteration of its level: there the
/// threads that reached the node reconverge. Back edges and edges that leave the level all lead to
/// one virtual end node.
void ControlTree::findReconvergence(const std::vector<Block*>& order) {
    llvm::DenseMap<const Block*, unsigned> position;
    for (unsigned i = 0; i < order.size(); ++i)
        position[order[i]] = i;
    const unsigned end = static_cast<unsigned>(order.size());
    // Immediate post-dominators. A header stands for itself in the first and for its whole loop,
    // as a node of the level around it, in the second.
    std::vector<unsigned> ofBlock(order.size(), end);
    std::vector<unsigned> ofLoop(order.size(), end);

    const auto positionAt = [&](Block* target, const llvm::Loop* level) {
        if (level != nullptr && (target == level->getHeader() || !level->contains(target)))
            return end;
        return position[nodeAt(target, level)];
    };
    const auto above = [&](unsigned node, const llvm::Loop* level) {
        const bool isLoop = levelOf(order[node]) != level;
        return isLoop ? ofLoop[node] : ofBlock[node];
    };
    const auto nearestCommon = [&](unsigned a, unsigned b, const llvm::Loop* level) {
        while (a != b)
            (a < b ? a : b) = above(std::min(a, b), level);
        return a;
    };
    const auto join = [&](auto&& targets, const llvm::Loop* level) {
        unsigned found = end;
        bool isFirst = true;
        for (Block* target : targets) {
            const unsigned next = positionAt(target, level);
            found = isFirst ? next : nearestCommon(found, next, level);
            isFirst = false;
        }
        return found;
    };
    for (unsigned i = end; i-- > 0;) {
        Block* block = order[i];
        llvm::Loop* level = levelOf(block);
        ofBlock[i] = join(llvm::successors(block), level);
        if (level != nullptr && level->getHeader() == block) {
            llvm::SmallVector<Block*> exits;
            level->getUniqueExitBlocks(exits);
            ofLoop[i] = join(exits, level->getParentLoop());
        }
    }
    const auto mark = [&](const Children& all, const std::vector<unsigned>& postDominators) {
        for (const auto& [parent, blocks] : all)
            for (Block* child : blocks)
                if (postDominators[position[parent]] == position[child])
                    m_reconverging.insert(child);
    };
    mark(m_children, ofBlock);
    mark(m_childrenOfLoop, ofLoop);
}

/// Whether each iteration of the level around `node` reaches it. A header stands for its loop.
bool ControlTree::isAlwaysReached(const Block* node, const llvm::Loop* level) const {
    const Block* parent = parentOf(node);
    if (levelOf(parent) != level)
        return m_reconverging.contains(node) &&
               m_alwaysReachedLoops.contains(levelBelow(parent, level));
    return m_alwaysReached.contains(parent) &&
           (m_reconverging.contains(node) || m_continuations.lookup(parent) == node);
}

void ControlTree::findContinuations(const std::vector<Block*>& order) {
    for (Block* block : order) {
        llvm::Loop* level = levelOf(block);
        if (level == nullptr)
            continue;
        if (level->getHeader() == block) {
            m_alwaysReached.insert(block);
            if (level->getParentLoop() != nullptr && isAlwaysReached(block, level->getParentLoop()))
                m_alwaysReachedLoops.insert(level);
        } else if (isAlwaysReached(block, level)) {
            m_alwaysReached.insert(block);
        }
        if (m_alwaysReached.contains(block))
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

void ControlTree::classifyLoop(const llvm::Loop& loop) {
    llvm::SmallVector<Block*> leaving;
    loop.getExitingBlocks(leaving);
    const bool allJump = llvm::all_of(leaving, [&](Block* block) {
        return levelOf(block) == &loop && m_continuations.contains(block);
    });
    if (!allJump)
        return;
    m_jumpingExits.insert(&loop);
    if (llvm::none_of(leaving, [&](Block* block) { return m_uniformity.diverges(*block); }))
        m_uniformExits.insert(&loop);
}

Blocks ControlTree::exitTargets(Block* first) const {
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
            branch != nullptr && branch->isConditional() && !m_uniformity.diverges(*block);
        own.needsThread |= m_loops.isLoopHeader(block);
        own.needsThread |= llvm::any_of(*block, [](const llvm::Instruction& instruction) {
            const auto* call = llvm::dyn_cast<llvm::CallBase>(&instruction);
            if (call != nullptr && kernel::isCallOfProgram(*call))
                return true;
            return !llvm::isa<llvm::PHINode>(instruction) && !instruction.isTerminator() &&
                   !llvm::isSafeToSpeculativelyExecute(&instruction);
        });
        if (Block* parent = parentOf(block)) {
            const Weight region = own;
            Weight& above = m_weights[parent];
            above.instructions += region.instructions;
            above.needsThread |= region.needsThread;
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
                m_reconverging.contains(block) ||
                (block->getSinglePredecessor() == parent && !m_uniformity.diverges(*parent));
            if (isSame)
                root = levelOf(parent) == level ? m_maskRoots.lookup(parent)
                                                : rootsOfLoops.lookup(levelBelow(parent, level));
        }
        if (isHeader) {
            rootsOfLoops[levelOf(block)] = root;
            if (!hasUniformExits(levelOf(block)))
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
        const bool isFlat = m_reconverging.contains(block) || continuation(parent) == block;
        const unsigned depth =
            depths.lookup(parent) + (isFlat && !m_loops.isLoopHeader(block) ? 0 : 1);
        depths[block] = depth;
        m_depth = std::max(m_depth, depth);
    }
}

} // namespace compute::simd
