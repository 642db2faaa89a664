// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Spill slots: variables that are written once and then only read. Splitting live ranges makes them
// (compute/host/SplitLiveRanges.h), to give the register allocator less to do.
#pragma once

#include <llvm/IR/Dominators.h>
#include <llvm/IR/Instructions.h>

#include <optional>

namespace compute::kernel {

/// For one function; valid as long as it does not change.
class SpillSlots {
public:
    /// The value that was stored to the slot which the load reads; null if it reads no spill slot,
    /// or the store may come later.
    const llvm::Value* valueOf(const llvm::LoadInst& load);

private:
    std::optional<llvm::DominatorTree> m_dominators; ///< computed with the first call
};

} // namespace compute::kernel
