// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Values that a function puts into a variable of its own and reads again later, as they were: what
// was done to give the register allocator less to do.
#pragma once

#include <llvm/IR/Dominators.h>
#include <llvm/IR/Instructions.h>

#include <optional>

namespace compute::kernel {

/// For one function; valid as long as it does not change.
class SpillSlots {
public:
    /// What the load reads, if it can only be that; else null.
    const llvm::Value* valueOf(const llvm::LoadInst& load);

private:
    std::optional<llvm::DominatorTree> m_dominators; ///< once somebody asks
};

} // namespace compute::kernel
