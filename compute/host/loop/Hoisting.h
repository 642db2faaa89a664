// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Loop-invariant code motion for the loops over a grid: finds out which values of a kernel are the
// same for the whole grid, for a slice or for a row of threads, and may be computed once for it.
#pragma once

#include "compute/kernel/Analyses.h"

#include <llvm/ADT/DenseMap.h>
#include <llvm/Analysis/MemorySSA.h>
#include <llvm/Analysis/PostDominators.h>
#include <llvm/IR/Function.h>

#include <vector>

namespace compute::host {

/// How often a value has to be computed, from once for a whole grid to once for every thread.
enum Level : unsigned { PerDispatch, PerSlice, PerRow, PerThread, LevelCount };

/// Finds the outermost loop over the grid to which each instruction of a canonical function can be
/// hoisted. An instruction may move if it cannot trap. A load must also read memory that no store
/// of the same thread can have changed before. (Between threads of one grid, plain loads and stores
/// have no order that would have to be kept.)
class Hoisting {
public:
    Hoisting(llvm::Function& kernel, kernel::Analyses& analyses);

    /// PerThread for instructions that were added later.
    Level level(const llvm::Value* value) const;
    /// All instructions of a level, operands before their users.
    std::vector<llvm::Instruction*> instructions(Level level) const;
    /// Whether the instruction may run although the kernel would not have run it.
    static bool maySpeculate(const llvm::Instruction& instruction);
    /// Whether no store of the same thread can have changed what the load reads.
    bool isUnclobbered(llvm::LoadInst& load) const;
    /// Whether every thread runs this block.
    bool isAlwaysExecuted(const llvm::BasicBlock& block) const;

private:
    Level findLevel(llvm::Instruction& instruction) const;
    bool mayMove(llvm::Instruction& instruction) const;

    llvm::MemorySSA& m_memory;
    llvm::PostDominatorTree& m_postDominators;
    llvm::Function& m_kernel;
    llvm::DenseMap<const llvm::Value*, Level> m_levels;
};

} // namespace compute::host
