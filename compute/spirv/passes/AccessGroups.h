// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Accesses to neighbouring bytes that are tested together: the parts of a vector, or of what else
// the program has aligned as a whole. Such a piece is in its memory or is not; all other accesses
// are tested one by one, so that an element in range is reached whatever its neighbours do.
#pragma once

#include "compute/spirv/passes/MemoryAccess.h"

#include <span>

namespace compute::spirv {

/// Of one access in its group.
struct GroupPlace {
    const llvm::Instruction* first = nullptr; ///< of the group, in its block
    std::int64_t offset = 0;                  ///< of the access from where the group begins
    std::uint64_t bytes = 0;                  ///< of the group
    std::uint64_t alignment = 1;              ///< that the program promises for where it begins
};

class AccessGroups {
public:
    /// `accesses` in the order of the function's instructions.
    AccessGroups(std::span<const MemoryAccess> accesses, const llvm::DataLayout& layout,
                 PointerRoots& roots);

    /// None for accesses that are tested alone. The first access of each group is one of it.
    std::optional<GroupPlace> placeOf(const llvm::Instruction& access) const;

private:
    struct Candidate {
        const MemoryAccess* access = nullptr;
        std::int64_t offset = 0; ///< from what all candidates have in common
        bool isTaken = false;
    };
    void form(std::span<Candidate> candidates);
    /// Of what lies in the aligned piece that begins with `start`.
    void formFrom(const Candidate& start, std::uint64_t alignment, std::span<Candidate> candidates);

    llvm::DenseMap<const llvm::Instruction*, GroupPlace> m_places;
};

} // namespace compute::spirv
