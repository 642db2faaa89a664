// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Loads, stores and atomics alike, as the lowering of pointers sees them.
#pragma once

#include "compute/spirv/passes/PointerRoots.h"

#include <llvm/IR/Instructions.h>

#include <cstdint>
#include <optional>

namespace compute::spirv {

struct MemoryAccess {
    llvm::Instruction* instruction = nullptr;
    llvm::Value* pointer = nullptr;
    llvm::Type* type = nullptr; ///< of what is read or written
    std::uint64_t bytes = 0;
    /// In parts of so many bytes is it done; whoever does it rounds addresses down to that.
    std::uint64_t part = 0;

    bool isAtomic() const {
        return llvm::isa<llvm::AtomicRMWInst, llvm::AtomicCmpXchgInst>(instruction);
    }
    bool isWhole() const { return part == bytes; }
};

/// None for instructions that access no memory.
std::optional<MemoryAccess> accessOf(llvm::Instruction& instruction, const llvm::DataLayout& layout,
                                     PointerRoots& roots);

} // namespace compute::spirv
