// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Where the pointers of a function may lead, by interval analysis: in which piece of memory, and
// between which offsets from its start. Works on code for one thread and on vectors of lanes alike.
// It trusts the arithmetic of the function and nothing that stands in memory that kernels write.
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

/// Attributes of parameters that the caller of a kernel answers for. Programs cannot set them.
/// A record of so many bytes, the attribute's value, that is only read:
inline constexpr llvm::StringLiteral recordAttribute = "sl42-record";
/// All words of the record are pointers into the region of kernels:
inline constexpr llvm::StringLiteral pointersAttribute = "sl42-pointers";
/// A pointer into the region of kernels:
inline constexpr llvm::StringLiteral regionAttribute = "sl42-region";

/// Bytes from a place on, both ends included.
struct OffsetRange {
    std::int64_t lowest = 0;
    std::int64_t highest = 0;
};

/// One of the places that a pointer may lead to.
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

/// Adds the accesses of the instruction. False when it may touch memory in some other way.
bool findAccesses(llvm::Instruction& instruction, const llvm::DataLayout& layout,
                  llvm::SmallVectorImpl<MemoryAccess>& accesses);

/// A variable that holds a list of pointers and nothing else, each written and read as a whole.
/// The vectoriser takes vectors of pointers apart by way of such lists.
bool isPointerList(const llvm::AllocaInst& variable, const llvm::DataLayout& layout);

/// The list that a store puts the pointer of this use into; null for other uses.
const llvm::AllocaInst* listWrittenBy(const llvm::Use& use, const llvm::DataLayout& layout);

/// Marks a parameter as a record that the caller answers for.
void describeRecord(llvm::Argument& parameter, std::size_t bytes, bool holdsPointers);

/// For one function; valid as long as it does not change.
class AddressRanges {
public:
    explicit AddressRanges(const llvm::DataLayout& layout) : m_layout(layout) {}

    /// Of a pointer, or of all lanes of a vector of pointers together.
    Targets targets(const llvm::Value& pointer);
    /// Whether the access cannot leave the memory that its pointer leads to.
    bool isConfined(const MemoryAccess& access);
    bool isConfined(const Target& target, const MemoryAccess& access) const;
    /// Pointers that it is one of, or made of: of a merge what it chooses from, of an element its
    /// vector, of what was kept in a variable the value that was. Empty for all others.
    llvm::SmallVector<const llvm::Value*> sources(const llvm::Value& pointer);
    /// What a step of address arithmetic adds.
    OffsetRange offsetOf(const llvm::GEPOperator& step);

private:
    Targets find(const llvm::Value& pointer);
    Targets ofParameter(const llvm::Argument& parameter) const;
    Targets ofStep(const llvm::GEPOperator& step);
    Targets ofMerge(const llvm::Value& pointer);
    Targets ofInsertion(const llvm::InsertElementInst& insertion);
    Targets ofLoad(const llvm::LoadInst& load);
    Targets ofListElement(const llvm::LoadInst& load, const llvm::AllocaInst& list);

    const llvm::DataLayout& m_layout;
    SpillSlots m_kept;
    IntegerRanges m_integers{m_kept};
    llvm::DenseMap<const llvm::Value*, Targets> m_known;
    llvm::SmallPtrSet<const llvm::Value*, 8> m_inProgress;
};

} // namespace compute::kernel
