// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/simd/FunctionPlan.h"

#include "compute/simd/emit/WidenControl.h"
#include "compute/simd/transform/UniformConditions.h"
#include "compute/simd/transform/UniformDivisors.h"

#include <llvm/IR/InstIterator.h>
#include <llvm/Transforms/Utils/BasicBlockUtils.h>

namespace compute::simd {
namespace {

/// Processors whose vectors have no more lanes than this may lack a fused multiply-add.
constexpr unsigned lanesWithoutFusing = 4;

/// Splits the critical edges of uniform branches, so that each side begins with a block of its own.
/// `loops` does not learn of the new blocks. Returns whether there are any.
bool splitUniformEdges(llvm::Function& kernel, const Uniformity& uniformity,
                       const llvm::LoopInfo& loops) {
    bool isChanged = false;
    llvm::SmallVector<llvm::BasicBlock*> blocks;
    for (llvm::BasicBlock& block : kernel)
        blocks.push_back(&block);
    for (llvm::BasicBlock* block : blocks) {
        auto* branch = llvm::dyn_cast<llvm::BranchInst>(block->getTerminator());
        if (branch == nullptr || !branch->isConditional() ||
            branch->getSuccessor(0) == branch->getSuccessor(1))
            continue;
        const llvm::Loop* loop = loops.getLoopFor(block);
        for (unsigned i : {0u, 1u}) {
            llvm::BasicBlock* successor = branch->getSuccessor(i);
            const bool staysInLoop = loop == nullptr || loop->contains(successor);
            const bool isBackEdge = loop != nullptr && loop->getHeader() == successor;
            if (successor->getSinglePredecessor() == nullptr && staysInLoop &&
                (isBackEdge || !uniformity.diverges(*block))) {
                llvm::SplitEdge(block, successor);
                isChanged = true;
            }
        }
    }
    return isChanged;
}

} // namespace

FunctionPlan::FunctionPlan(llvm::Function& function, ParameterStrides parameters, unsigned lanes)
    : m_function(function),
      m_parameters(std::move(parameters)),
      m_dominators(function),
      m_loops(m_dominators),
      m_memory(function) {
    do
        analyseControl();
    while (m_memory.refute(*m_uniformity, *m_tree, m_dominators));
    if (splitUniformConditions(function, *m_uniformity, m_dominators, m_loops)) {
        findBlocks();
        analyseControl();
    }
    if (lanes > lanesWithoutFusing && divideByReciprocals(function, *m_uniformity))
        analyseControl();
    m_strides = std::make_unique<Strides>(function, m_loops, *m_uniformity, m_memory, m_parameters);
    m_groups = std::make_unique<AccessGroups>(function, *m_strides, m_memory);
}

/// Computes both analyses anew: updating them for one new block after the other would take
/// quadratic time.
void FunctionPlan::findBlocks() {
    m_dominators.recalculate(m_function);
    m_loops.releaseMemory();
    m_loops.analyze(m_dominators);
}

void FunctionPlan::analyseControl() {
    m_uniformity = std::make_unique<Uniformity>(m_function, m_memory.varying(), m_parameters);
    if (splitUniformEdges(m_function, *m_uniformity, m_loops))
        findBlocks();
    m_tree = std::make_unique<ControlTree>(m_function, m_dominators, m_loops, *m_uniformity);
}

void FunctionPlan::layOut(LaneBuilder& builder, WideValues& values, const WideCalls& calls,
                          llvm::BasicBlock& entry, llvm::Value* mask) const {
    WidenMemory memory(builder, values, *m_groups, m_memory, mask);
    for (llvm::Instruction& instruction :
         llvm::make_early_inc_range(llvm::instructions(m_function)))
        if (auto* variable = llvm::dyn_cast<llvm::AllocaInst>(&instruction)) {
            if (m_memory.kind(variable) == PrivateMemory::Kind::Uniform) {
                // The scalar function keeps its own variable: uniform calls still use it.
                llvm::Instruction* made = variable->clone();
                made->insertInto(&entry, entry.begin());
                values.setScalar(variable, made);
            } else {
                memory.widenVariable(*variable);
            }
        }
    WidenControl(builder, values, memory, calls, *m_tree, *m_uniformity).run(m_function, mask);
}

} // namespace compute::simd
