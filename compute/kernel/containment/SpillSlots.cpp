// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/kernel/containment/SpillSlots.h"

#include <llvm/IR/Function.h>

namespace compute::kernel {
namespace {

/// The store that alone writes the variable, which nothing but loads reads.
const llvm::StoreInst* onlyStore(const llvm::AllocaInst& variable) {
    const llvm::StoreInst* only = nullptr;
    for (const llvm::Use& use : variable.uses()) {
        const auto* store = llvm::dyn_cast<llvm::StoreInst>(use.getUser());
        if (store == nullptr ? !llvm::isa<llvm::LoadInst>(use.getUser())
                             : only != nullptr || use.getOperandNo() == 0)
            return nullptr;
        only = store != nullptr ? store : only;
    }
    return only;
}

} // namespace

const llvm::Value* SpillSlots::valueOf(const llvm::LoadInst& load) {
    const auto* variable = llvm::dyn_cast<llvm::AllocaInst>(load.getPointerOperand());
    const llvm::StoreInst* store = variable != nullptr ? onlyStore(*variable) : nullptr;
    if (store == nullptr || store->getValueOperand()->getType() != load.getType())
        return nullptr;
    if (!m_dominators)
        m_dominators.emplace(*const_cast<llvm::Function*>(load.getFunction()));
    return m_dominators->dominates(store, &load) ? store->getValueOperand() : nullptr;
}

} // namespace compute::kernel
