// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// How the private arrays of a kernel are kept when several threads run as one. An array that holds
// the same for all of them exists once. One that differs by thread exists once a lane: woven, so
// that the same element of neighbouring lanes lies side by side, or else as whole copies one after
// the other, which any pointer can walk.
#pragma once

#include "compute/simd/analysis/ControlTree.h"

#include <llvm/IR/Instructions.h>

#include <optional>

namespace compute::simd {

class PrivateMemory {
public:
    enum class Kind { Shared, Woven, Copies };

    /// Takes all variables of the kernel for shared.
    explicit PrivateMemory(llvm::Function& kernel);

    /// Takes back what `uniformity` and `tree`, made for varying(), contradict. Returns whether
    /// there was anything: both depend on it and have to be made again then.
    bool refute(const Uniformity& uniformity, const ControlTree& tree,
                const llvm::DominatorTree& dominators);

    Kind kind(const llvm::AllocaInst* variable) const;
    /// Bytes of the variable for one thread.
    static std::uint64_t sizeOf(const llvm::AllocaInst& variable, const llvm::DataLayout& layout);
    const ValueSet& varying() const { return m_varying; }
    /// Bytes of the elements of a woven variable.
    std::uint64_t granule(const llvm::AllocaInst* variable) const {
        return m_granules.lookup(variable);
    }
    /// Bytes that the lanes of all varying variables take.
    std::uint64_t bytes(unsigned lanes) const;

private:
    /// Everything that is done with a variable's memory.
    struct Uses {
        llvm::SmallVector<llvm::Instruction*> reads;
        llvm::SmallVector<llvm::Instruction*> writes;
        bool isTraceable = true;   ///< all of it is known
        bool isOnlyIndexed = true; ///< addresses are made by indexing alone
    };
    void trace(llvm::AllocaInst& variable);
    bool isShared(const Uses& uses, const Uniformity& uniformity, const ControlTree& tree,
                  const llvm::DominatorTree& dominators) const;
    std::optional<std::uint64_t> findGranule(const llvm::AllocaInst& variable,
                                             const Uses& uses) const;

    const llvm::DataLayout& m_layout;
    llvm::MapVector<llvm::AllocaInst*, Uses> m_uses;
    ValueSet m_varying;
    unsigned m_rounds = 0;
    llvm::DenseMap<const llvm::AllocaInst*, std::uint64_t> m_granules;
};

} // namespace compute::simd
