// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Accesses that together read or write a small structure in each lane: the four components of a
// pixel. Where the structures of neighbouring lanes lie side by side, they are done as whole
// vectors of memory, woven from or into the lanes; elsewhere at least as few and as large pieces a
// lane.
#pragma once

#include "compute/simd/analysis/SpeculativeStrides.h"

#include <memory>

namespace compute::simd {

/// Same structure, same block, and nothing between them that could tell their order.
struct AccessGroup {
    struct Member {
        llvm::Instruction* access;
        std::int64_t offset; ///< in bytes, from `root`; the lowest is the start of the structure
        std::int64_t size;   ///< 1, 2, 4 or 8 bytes
    };
    /// A structure is this many words of 32 bits at most.
    static constexpr std::int64_t maxWords = 8;

    llvm::SmallVector<Member, 4> members; ///< in program order
    llvm::Value* root = nullptr;          ///< a pointer that differs by lane
    /// Bytes from lane to lane, a multiple of 4. Unless isEven, what they probably are; the size of
    /// the structure when nothing is known, as if they lay side by side.
    std::int64_t stride = 0;
    bool isEven = true;
    bool isStore = false;

    std::int64_t start() const;
    std::int64_t end() const;
    /// One bit for each word of the structure that a member touches.
    unsigned words() const;
    /// The member in whose place the group is done: no load comes later than it was, no store
    /// earlier.
    const llvm::Instruction* place() const {
        return isStore ? members.back().access : members.front().access;
    }
};

class AccessGroups {
public:
    AccessGroups(llvm::Function& kernel, const Strides& strides, const PrivateMemory& memory);

    /// The group that an access belongs to; null when it stands alone.
    const AccessGroup* of(const llvm::Instruction* access) const { return m_groups.lookup(access); }

private:
    void scan(llvm::BasicBlock& block, const Strides& strides, const PrivateMemory& memory);
    /// `stride`: none for uneven pointers.
    void add(std::vector<AccessGroup>& open, llvm::Instruction& access,
             std::optional<std::int64_t> stride);
    void close(std::vector<AccessGroup>& open);
    std::int64_t likelyStride(const AccessGroup& group);

    const llvm::DataLayout& m_layout;
    SpeculativeStrides m_likely;
    std::vector<std::unique_ptr<AccessGroup>> m_all;
    llvm::DenseMap<const llvm::Instruction*, const AccessGroup*> m_groups;
};

} // namespace compute::simd
