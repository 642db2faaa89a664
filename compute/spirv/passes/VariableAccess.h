// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Reads, writes and updates of variables, which are arrays of numbers by now: an address of a
// variable becomes an index, and what is wider than an element is put together.
#pragma once

#include "compute/spirv/passes/Lowering.h"
#include "compute/spirv/passes/MemoryAccess.h"
#include "compute/spirv/passes/VariableTable.h"

namespace compute::spirv {

/// An address as one of the variables that it may mean.
struct VariablePlace {
    unsigned number = 0;
    llvm::Value* address = nullptr;
    bool isOneOfSeveral = false;
    bool isConfined = false; ///< cannot lie outside of the variable
};

class VariableAccess {
public:
    VariableAccess(Lowering& lowering, const VariableTable& table)
        : m_lowering(lowering), m_table(table) {}

    /// Whether the address is one of this variable.
    static llvm::Value* isIn(llvm::IRBuilder<>& builder, const VariablePlace& place);

    llvm::Value* load(llvm::IRBuilder<>& builder, const MemoryAccess& access,
                      const VariablePlace& place);
    void store(llvm::IRBuilder<>& builder, const MemoryAccess& access, const VariablePlace& place,
               llvm::Value* value);
    /// Both give the value before.
    llvm::Value* update(llvm::IRBuilder<>& builder, const MemoryAccess& access,
                        const VariablePlace& place, llvm::AtomicRMWInst& atomic);
    llvm::Value* exchange(llvm::IRBuilder<>& builder, const MemoryAccess& access,
                          const VariablePlace& place, llvm::AtomicCmpXchgInst& exchange);

private:
    /// Of the element that the access begins with, such that all of it lies inside.
    llvm::Value* index(llvm::IRBuilder<>& builder, const MemoryAccess& access,
                       const VariablePlace& place);
    /// Of an element of threadgroup memory to write to; the spare one if another variable is meant.
    llvm::Value* indexToWrite(llvm::IRBuilder<>& builder, const MemoryAccess& access,
                              const VariablePlace& place);
    llvm::Value* length(llvm::IRBuilder<>& builder, unsigned number);
    llvm::Value* spareIndex(llvm::IRBuilder<>& builder, unsigned number);
    llvm::Value* call(llvm::IRBuilder<>& builder, ShaderFunction what,
                      llvm::ArrayRef<llvm::Value*> arguments);
    llvm::Value* read(llvm::IRBuilder<>& builder, unsigned number, llvm::Value* index);
    void writeBack(llvm::IRBuilder<>& builder, const VariablePlace& place, llvm::Value* index,
                   llvm::Value* before, llvm::Value* after);

    Lowering& m_lowering;
    const VariableTable& m_table;
};

} // namespace compute::spirv
