// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/simd/analysis/DivergentJoins.h"

#include <llvm/ADT/PostOrderIterator.h>
#include <llvm/ADT/SmallPtrSet.h>
#include <llvm/IR/CFG.h>

#include <algorithm>

namespace compute::simd {

using llvm::BasicBlock;

DivergentJoins::DivergentJoins(llvm::Function& function, const llvm::DominatorTree& dominators)
    : m_dominators(dominators), m_postDominators(function), m_loops(dominators) {
    for (const BasicBlock* block : llvm::ReversePostOrderTraversal(&function))
        m_order.try_emplace(block, m_order.size());
}

DivergentJoins::Edges DivergentJoins::edgesOf(BasicBlock& block) const {
    Edges edges;
    for (BasicBlock* next : llvm::successors(&block))
        edges.insert({&block, next});
    return edges;
}

const BasicBlock* DivergentJoins::reconvergenceOf(BasicBlock& block) const {
    return m_postDominators.getNode(&block)->getIDom()->getBlock();
}

DivergentJoins::Blocks DivergentJoins::divergentRegion(const Edges& edges, const BasicBlock& start,
                                                       const BasicBlock* end) const {
    llvm::SmallPtrSet<BasicBlock*, 16> found;
    Blocks region;
    const auto reach = [&](BasicBlock* block) {
        if (!m_dominators.dominates(block, &start) && found.insert(block).second)
            region.push_back(block);
    };
    for (const auto& [from, to] : edges)
        reach(to);
    for (std::size_t i = 0; i < region.size(); ++i)
        if (region[i] != end)
            for (BasicBlock* next : llvm::successors(region[i]))
                reach(next);
    std::ranges::sort(region, {}, [&](const BasicBlock* block) { return m_order.lookup(block); });
    return region;
}

std::vector<BasicBlock*> DivergentJoins::joins(const Edges& edges, const Blocks& region) const {
    // The label of a block is the edge over which all threads come there. A block that different
    // labels reach is a join, and a new label for the blocks after it.
    llvm::DenseMap<const BasicBlock*, Edge> labels;
    std::vector<BasicBlock*> found;
    for (BasicBlock* block : region) {
        llvm::SmallSetVector<Edge, 4> incoming;
        for (BasicBlock* from : llvm::predecessors(block))
            if (const auto label = labels.find(from); label != labels.end())
                incoming.insert(label->second);
            else if (edges.contains({from, block}))
                incoming.insert({from, block});
        if (incoming.size() > 1)
            found.push_back(block);
        labels[block] = incoming.size() == 1 ? incoming[0] : Edge{block, block};
    }
    return found;
}

std::vector<BasicBlock*> DivergentJoins::ofBranch(BasicBlock& block) const {
    const Edges edges = edgesOf(block);
    return joins(edges, divergentRegion(edges, block, reconvergenceOf(block)));
}

std::vector<BasicBlock*> DivergentJoins::ofExits(const llvm::Loop& loop) const {
    Edges edges;
    for (BasicBlock* from : loop.blocks())
        for (BasicBlock* to : llvm::successors(from))
            if (!loop.contains(to))
                edges.insert({from, to});
    BasicBlock* end = edges.empty() ? nullptr : edges[0].second;
    for (const auto& [from, to] : edges)
        end = end == nullptr ? nullptr : m_postDominators.findNearestCommonDominator(end, to);
    return joins(edges, divergentRegion(edges, *loop.getHeader(), end));
}

std::vector<const llvm::Loop*> DivergentJoins::loopsLeftBy(BasicBlock& block) const {
    std::vector<const llvm::Loop*> left;
    const llvm::Loop* loop = m_loops.getLoopFor(&block);
    if (loop == nullptr)
        return left;
    const Blocks region = divergentRegion(edgesOf(block), block, reconvergenceOf(block));
    for (; loop != nullptr; loop = loop->getParentLoop())
        if (!std::ranges::all_of(region, [&](BasicBlock* one) { return loop->contains(one); }))
            left.push_back(loop);
    return left;
}

} // namespace compute::simd
