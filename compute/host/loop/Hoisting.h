// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// How often the values of a kernel change: once for the whole grid, from row to row, or from thread
// to thread. What changes less often is computed less often.
#pragma once

#include "compute/kernel/Analyses.h"

#include <llvm/ADT/DenseMap.h>
#include <llvm/Analysis/MemorySSA.h>
#include <llvm/Analysis/PostDominators.h>
#include <llvm/IR/Function.h>

#include <vector>

namespace compute::host {

/// From what never changes to what every thread has for itself.
enum Level : unsigned { PerDispatch, PerSlice, PerRow, PerThread, LevelCount };

/// Finds the outermost loop over the grid that may compute each instruction of a canonical
/// function. A value moves out of a loop when that cannot trap; a load moves when besides no store
/// of the same thread comes before it. (Threads of one grid that hand data to each other without
/// atomics have no order that could be kept.)
class Hoisting {
public:
    Hoisting(llvm::Function& kernel, kernel::Analyses& analyses);

    /// PerThread for instructions that were added later.
    Level level(const llvm::Value* value) const;
    /// In an order in which operands come before their users.
    std::vector<llvm::Instruction*> instructions(Level level) const;
    /// Whether it can be computed where it was not asked for.
    static bool maySpeculate(const llvm::Instruction& instruction);
    /// Whether all of the thread's stores leave alone what the load reads.
    bool readsWhatWasThere(llvm::LoadInst& load) const;
    /// Whether every thread comes to this block.
    bool isReached(const llvm::BasicBlock& block) const;

private:
    Level findLevel(llvm::Instruction& instruction) const;
    bool mayMove(llvm::Instruction& instruction) const;

    llvm::MemorySSA& m_memory;
    llvm::PostDominatorTree& m_postDominators;
    llvm::Function& m_kernel;
    llvm::DenseMap<const llvm::Value*, Level> m_levels;
};

} // namespace compute::host
