// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Lays out the variables of a kernel as arrays of numbers. How wide these are is decided by the
// accesses: as narrow as the smallest part in which any of them reads or writes.
#pragma once

#include "compute/spirv/passes/Lowering.h"
#include "compute/spirv/passes/MemoryAccess.h"

#include <llvm/ADT/MapVector.h>

namespace compute::spirv {

/// The upper half of the addresses of a variable.
inline constexpr std::uint64_t firstVariableTag = 0xf0000000;

class VariableTable {
public:
    explicit VariableTable(Lowering& lowering) : m_lowering(lowering) {}

    /// Takes note of an access to the variable; the first one makes the variable known.
    void note(llvm::Value& variable, const MemoryAccess& access);
    /// The variable can be reached from other functions than its own.
    void share(llvm::Value& variable);
    /// Some access has to choose among variables and buffers.
    void addSpareElement(llvm::Value& variable);
    /// Fills in Lowering::variables. Fails for constants that cannot be written down.
    platform::Result<void> layOut();

    unsigned numberOf(const llvm::Value& variable) const;
    std::uint64_t elementBytes(unsigned number) const;
    /// Of the first byte.
    llvm::ConstantInt* addressOf(llvm::Value& variable);

private:
    struct Layout {
        std::uint64_t part = 16;
        bool hasAtomics = false;
        bool onlyFloats = true;
        bool isShared = false;
        bool hasSpare = false;
    };
    platform::Result<Variable> make(llvm::Value& variable, const Layout& layout) const;
    platform::Result<std::vector<llvm::Constant*>> valuesOf(llvm::GlobalVariable& table,
                                                            const Variable& made) const;

    Lowering& m_lowering;
    llvm::MapVector<llvm::Value*, Layout> m_layouts;
    llvm::DenseMap<const llvm::Value*, unsigned> m_numbers;
};

} // namespace compute::spirv
