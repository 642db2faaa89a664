// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/host/loop/Hoisting.h"

#include "compute/kernel/GroupOperations.h"
#include "compute/kernel/KernelSignature.h"

#include <llvm/ADT/PostOrderIterator.h>
#include <llvm/Analysis/ValueTracking.h>
#include <llvm/IR/Instructions.h>

#include <algorithm>

namespace compute::host {

Hoisting::Hoisting(llvm::Function& kernel, kernel::Analyses& analyses)
    : m_memory(analyses.functions().getResult<llvm::MemorySSAAnalysis>(kernel).getMSSA()),
      m_postDominators(analyses.functions().getResult<llvm::PostDominatorTreeAnalysis>(kernel)),
      m_kernel(kernel) {
    m_levels[kernel.getArg(kernel::ZArgument)] = PerSlice;
    m_levels[kernel.getArg(kernel::YArgument)] = PerRow;
    m_levels[kernel.getArg(kernel::XArgument)] = PerThread;
    for (llvm::BasicBlock* block : llvm::ReversePostOrderTraversal(&kernel))
        for (llvm::Instruction& instruction : *block)
            m_levels[&instruction] = findLevel(instruction);
}

Level Hoisting::level(const llvm::Value* value) const {
    const auto known = m_levels.find(value);
    if (known != m_levels.end())
        return known->second;
    return llvm::isa<llvm::Instruction>(value) ? PerThread : PerDispatch;
}

std::vector<llvm::Instruction*> Hoisting::instructions(Level level) const {
    std::vector<llvm::Instruction*> found;
    for (llvm::BasicBlock* block : llvm::ReversePostOrderTraversal(&m_kernel))
        for (llvm::Instruction& instruction : *block)
            if (this->level(&instruction) == level)
                found.push_back(&instruction);
    return found;
}

bool Hoisting::maySpeculate(const llvm::Instruction& instruction) {
    return !llvm::isa<llvm::PHINode, llvm::AllocaInst>(instruction) &&
           !instruction.isTerminator() && !instruction.mayReadOrWriteMemory() &&
           llvm::isSafeToSpeculativelyExecute(&instruction);
}

bool Hoisting::isUnclobbered(llvm::LoadInst& load) const {
    return load.isSimple() &&
           (load.hasMetadata(llvm::LLVMContext::MD_invariant_load) ||
            m_memory.isLiveOnEntryDef(m_memory.getWalker()->getClobberingMemoryAccess(&load)));
}

bool Hoisting::isAlwaysExecuted(const llvm::BasicBlock& block) const {
    return m_postDominators.dominates(&block, &m_kernel.getEntryBlock());
}

Level Hoisting::findLevel(llvm::Instruction& instruction) const {
    if (!mayMove(instruction))
        return PerThread;
    Level highest = PerDispatch;
    for (const llvm::Value* operand : instruction.operands())
        highest = std::max(highest, level(operand));
    return highest;
}

bool Hoisting::mayMove(llvm::Instruction& instruction) const {
    auto* load = llvm::dyn_cast<llvm::LoadInst>(&instruction);
    if (load == nullptr)
        return maySpeculate(instruction);
    return (isAlwaysExecuted(*load->getParent()) || llvm::isSafeToSpeculativelyExecute(load)) &&
           isUnclobbered(*load) && !kernel::leadsToGroupVariable(*load->getPointerOperand());
}

} // namespace compute::host
