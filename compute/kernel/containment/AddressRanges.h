// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Interval analysis of the pointers of a function: into which piece of memory each may lead, and
// between which offsets from its start. Works on code for one thread and on vectors of lanes alike.
// It trusts the arithmetic of the function, but nothing that was read from memory that kernels can
// write.
#pragma once

#include "compute/kernel/containment/IntegerRanges.h"

#include <llvm/ADT/DenseMap.h>
#include <llvm/ADT/SmallPtrSet.h>
#include <llvm/ADT/SmallVector.h>
#include <llvm/IR/DataLayout.h>
#include <llvm/IR/Function.h>
#include <llvm/IR/Instructions.h>
#include <llvm/IR/Operator.h>

#include <cstdint>

namespace compute::kernel {

// Attributes of parameters for which the caller of a kernel guarantees. Programs cannot set them.

/// The parameter points to a record that is only read; the attribute's value is its size in bytes.
inline constexpr llvm::StringLiteral recordAttribute = "sl42-record";
/// All words of the record are pointers into the region of kernels.
inline constexpr llvm::StringLiteral pointersAttribute = "sl42-pointers";
/// The parameter is a pointer into the region of kernels.
inline constexpr llvm::StringLiteral regionAttribute = "sl42-region";

/// Offsets in bytes, both ends included.
struct OffsetRange {
    std::int64_t lowest = 0;
    std::int64_t highest = 0;
};

/// One of the pieces of memory that a pointer may lead to, and at which offsets.
struct Target {
    enum class Kind {
        Region,   ///< somewhere in the region of kernels (compute/memory/KernelAddresses.h)
        Record,   ///< `base` is a parameter with recordAttribute
        Variable, ///< `base` is an alloca
        Table,    ///< `base` is a global constant
        Unknown   ///< wherever the value of `base` leads
    };
    Kind kind;
    const llvm::Value* base;
    OffsetRange offset;
};
using Targets = llvm::SmallVector<Target, 2>;

/// An instruction that touches memory by a pointer, or by a vector of pointers one for each lane.
struct MemoryAccess {
    llvm::Instruction* instruction;
    unsigned operand;
    std::uint64_t bytes; ///< from the pointer on
    bool isWrite;
    llvm::Value* pointer() const { return instruction->getOperand(operand); }
};

/// Appends the accesses of the instruction. False when it may also touch memory in another way.
bool findAccesses(llvm::Instruction& instruction, const llvm::DataLayout& layout,
                  llvm::SmallVectorImpl<MemoryAccess>& accesses);

/// Whether the variable holds a list of pointers and nothing else, each written and read as a
/// whole. The vectoriser splits vectors of pointers by storing them to such lists.
bool isPointerList(const llvm::AllocaInst& variable, const llvm::DataLayout& layout);

/// The list to which this use stores the pointer; null for other uses.
const llvm::AllocaInst* listWrittenBy(const llvm::Use& use, const llvm::DataLayout& layout);

/// Gives a parameter the attributes of a record.
void describeRecord(llvm::Argument& parameter, std::size_t bytes, bool holdsPointers);

/// For one function; valid as long as it does not change.
class AddressRanges {
public:
    explicit AddressRanges(const llvm::DataLayout& layout) : m_layout(layout) {}

    /// The targets of a pointer, or of all lanes of a vector of pointers together.
    Targets targets(const llvm::Value& pointer);
    /// Whether the access cannot leave the memory that its pointer leads to.
    bool isConfined(const MemoryAccess& access);
    bool isConfined(const Target& target, const MemoryAccess& access) const;
    /// The pointers that this one is chosen or copied from: the operands of a phi or select, the
    /// vector that an element is taken from, the elements of a vector, the value in a spill slot.
    /// Empty for all others.
    llvm::SmallVector<const llvm::Value*> sources(const llvm::Value& pointer);
    /// How far the result of address arithmetic may be from its base.
    OffsetRange offsetOf(const llvm::GEPOperator& step);

private:
    Targets find(const llvm::Value& pointer);
    Targets ofParameter(const llvm::Argument& parameter) const;
    Targets ofStep(const llvm::GEPOperator& step);
    Targets ofMerge(const llvm::Value& pointer);
    Targets ofInsertion(const llvm::InsertElementInst& insertion);
    const llvm::Value* withoutSpill(const llvm::Value* value);
    Targets ofLoad(const llvm::LoadInst& load);
    Targets ofListElement(const llvm::LoadInst& load, const llvm::AllocaInst& list);

    const llvm::DataLayout& m_layout;
    SpillSlots m_spillSlots;
    IntegerRanges m_integers{m_spillSlots};
    llvm::DenseMap<const llvm::Value*, Targets> m_known;
    llvm::SmallPtrSet<const llvm::Value*, 8> m_inProgress;
};

} // namespace compute::kernel
