// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// How the private arrays of a kernel are stored when each lane runs a thread. An array with uniform
// contents exists once. One that varies exists once per lane: interleaved (as a structure of
// arrays), so that the same element of all lanes is contiguous, or else as whole copies one after
// the other, through which pointers of any kind can move.
#pragma once

#include "compute/simd/analysis/ControlTree.h"

#include <llvm/IR/Instructions.h>

#include <optional>

namespace compute::simd {

class PrivateMemory {
public:
    enum class Kind { Uniform, Interleaved, Copies };

    /// Begins with the optimistic assumption that all variables of the kernel are uniform.
    explicit PrivateMemory(llvm::Function& kernel);

    /// Makes those variables varying whose uniformity `uniformity` and `tree`, computed for
    /// varying(), contradict. Returns whether there were any; both analyses depend on varying() and
    /// must be computed again then.
    bool refute(const Uniformity& uniformity, const ControlTree& tree,
                const llvm::DominatorTree& dominators);

    Kind kind(const llvm::AllocaInst* variable) const;
    /// Bytes of the variable for one thread.
    static std::uint64_t sizeOf(const llvm::AllocaInst& variable, const llvm::DataLayout& layout);
    const ValueSet& varying() const { return m_varying; }
    /// The size of an element of an interleaved variable.
    std::uint64_t elementBytes(const llvm::AllocaInst* variable) const {
        return m_elementBytes.lookup(variable);
    }
    /// The size of all varying variables for that many lanes.
    std::uint64_t bytes(unsigned lanes) const;

private:
    /// The accesses to a variable's memory.
    struct Uses {
        llvm::SmallVector<llvm::Instruction*> reads;
        llvm::SmallVector<llvm::Instruction*> writes;
        bool isTraceable = true;   ///< the address does not escape: there are no other accesses
        bool isOnlyIndexed = true; ///< pointers to it are made by getelementptr alone
    };
    void trace(llvm::AllocaInst& variable);
    bool isUniform(const Uses& uses, const Uniformity& uniformity, const ControlTree& tree,
                   const llvm::DominatorTree& dominators) const;
    std::optional<std::uint64_t> findElementBytes(const llvm::AllocaInst& variable,
                                                  const Uses& uses) const;

    const llvm::DataLayout& m_layout;
    llvm::MapVector<llvm::AllocaInst*, Uses> m_uses;
    ValueSet m_varying;
    unsigned m_iterations = 0; ///< calls of refute()
    llvm::DenseMap<const llvm::AllocaInst*, std::uint64_t> m_elementBytes;
};

} // namespace compute::simd
