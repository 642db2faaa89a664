// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What lowerPointers() finds out about a function before any of it is changed.
#pragma once

#include "compute/spirv/passes/AccessGroups.h"
#include "compute/spirv/passes/Lowering.h"

#include <llvm/ADT/SmallPtrSet.h>

#include <memory>

namespace compute::spirv {

struct FunctionFacts {
    llvm::Function* function = nullptr;
    std::unique_ptr<PointerRoots> roots;
    std::vector<MemoryAccess> accesses;
    std::unique_ptr<AccessGroups> groups;
    /// Those that cannot leave the one variable which they lead to.
    llvm::SmallPtrSet<const llvm::Instruction*, 16> confined;
    const llvm::Value* bindings = nullptr;
    const llvm::Value* grid = nullptr;
};

/// Roots and arguments; accesses come later, when it is known what escapes from all functions.
FunctionFacts factsOf(Lowering& lowering, llvm::Function& function);
void collectAccesses(FunctionFacts& facts, const llvm::DataLayout& layout);
/// Whether the bindings are read in any other way than slot by slot.
bool misusesBindings(const FunctionFacts& facts);

} // namespace compute::spirv
