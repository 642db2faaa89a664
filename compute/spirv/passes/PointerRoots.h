// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Where pointers come from: the variables that each may lead into, and the places where addresses
// of memory appear (bindings, loads, numbers). Address arithmetic, phis and selects lead from
// there.
#pragma once

#include <llvm/ADT/DenseMap.h>
#include <llvm/ADT/SetVector.h>
#include <llvm/IR/DataLayout.h>
#include <llvm/IR/Function.h>
#include <llvm/IR/Instructions.h>
#include <llvm/IR/Operator.h>

#include <optional>

namespace compute::spirv {

/// All that a pointer may have begun as.
struct Roots {
    llvm::SmallSetVector<llvm::Value*, 2> variables; ///< allocas and variables of the module
    llvm::SmallSetVector<llvm::Value*, 2> addresses; ///< what else makes a pointer; no constants
};

class PointerRoots {
public:
    /// `bindings`: the parameter of the canonical kernel, or what stands for it.
    PointerRoots(const llvm::DataLayout& layout, const llvm::Value* bindings)
        : m_layout(layout), m_bindings(bindings) {}

    /// To be called for all variables before roots() is: those whose address is stored, or becomes
    /// a number, may be led to by every pointer that is loaded or made of a number.
    void noteEscape(llvm::Value& variable);
    const llvm::SmallSetVector<llvm::Value*, 4>& escaped() const { return m_escaped; }
    /// A variable that escapes in another function.
    void addEscaped(llvm::Value& variable) { m_escaped.insert(&variable); }

    const Roots& of(llvm::Value& pointer);
    /// The slot of the bindings that the value was loaded from.
    std::optional<unsigned> slotOf(const llvm::Value& value) const;
    /// The slot that all of these addresses are; none if there are others among them, or none at
    /// all.
    std::optional<unsigned> onlySlotOf(const Roots& roots) const;
    /// A power of two that the address is a multiple of, at most 16, if that of its root is one.
    std::uint64_t alignmentOf(const llvm::Value& pointer);
    /// The same of its distance from the beginning of the buffer that it leads into.
    std::uint64_t alignmentBehindRoot(const llvm::Value& pointer);

private:
    /// `ofBuffers`: that of their addresses.
    std::uint64_t alignmentAt(const llvm::Value& pointer, std::uint64_t ofBuffers, unsigned depth);
    std::uint64_t alignmentOfOffset(const llvm::GEPOperator& step) const;

    const llvm::DataLayout& m_layout;
    const llvm::Value* m_bindings;
    llvm::DenseMap<llvm::Value*, Roots> m_known;
    llvm::SmallSetVector<llvm::Value*, 4> m_escaped;
};

/// Whether the pointer is made of others of the same function: steps, phis, selects and copies.
bool isDerived(const llvm::Value& pointer);
/// The pointers among its operands.
llvm::SmallVector<llvm::Value*, 2> sourcesOf(const llvm::Value& derived);

} // namespace compute::spirv
