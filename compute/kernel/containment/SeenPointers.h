// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Pointers as the program sees them. Null, once it is confined, is the start of the region, and no
// longer null for who compares it or stores it. So what is chosen from pointers that are about to
// be confined, and is looked at, exists twice: to follow, and to look at.
#pragma once

#include <llvm/ADT/ArrayRef.h>
#include <llvm/ADT/SmallPtrSet.h>
#include <llvm/IR/Function.h>

namespace compute::kernel {

/// Whether the operand is the root, or a constant address that is computed from it, or a vector of
/// one of these.
bool isMadeOf(const llvm::Value* operand, const llvm::Value& root);

class SeenPointers {
public:
    explicit SeenPointers(llvm::Function& function) : m_function(function) {}

    /// To be called before the roots are confined: phis, selects and the like that they flow into
    /// are doubled where they are looked at.
    void keep(llvm::ArrayRef<llvm::Value*> roots);
    /// Whether this use may end in an access through the pointer, also by way of a list, as opposed
    /// to one that only looks at its value.
    bool isFollowed(const llvm::Use& use) const;

private:
    llvm::Function& m_function;
    llvm::SmallPtrSet<const llvm::User*, 8> m_seen; ///< that are only looked at
};

} // namespace compute::kernel
