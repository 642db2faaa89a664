// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Interleaved access groups: accesses that together read or write a small structure in each lane,
// such as the four components of a pixel. Where the structures of neighbouring lanes are contiguous
// in memory, a group becomes loads or stores of whole vectors and shuffles; elsewhere it becomes
// the fewest and largest accesses per lane.
#pragma once

#include "compute/simd/analysis/SpeculativeStrides.h"

#include <memory>

namespace compute::simd {

/// Accesses to one structure from one block, with no instruction between them that could observe
/// their order.
struct AccessGroup {
    struct Member {
        llvm::Instruction* access;
        std::int64_t offset; ///< in bytes, from `root`; the lowest is the start of the structure
        std::int64_t size;   ///< 1, 2, 4 or 8 bytes
    };
    /// A structure is this many words of 32 bits at most.
    static constexpr std::int64_t maxWords = 8;

    llvm::SmallVector<Member, 4> members; ///< in program order
    llvm::Value* root = nullptr;          ///< a pointer that varies by lane
    /// Bytes from lane to lane, a multiple of 4. Unless isAffine, a speculation: the size of the
    /// structure, as if the structures were contiguous, when nothing better is known.
    std::int64_t stride = 0;
    bool isAffine = true;
    bool isStore = false;

    std::int64_t start() const;
    std::int64_t end() const;
    /// One bit for each word of the structure that a member touches.
    unsigned words() const;
    /// The member in whose place the group's code is emitted: no load moves down, no store up.
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
    /// `stride`: none for pointers that are not affine.
    void add(std::vector<AccessGroup>& open, llvm::Instruction& access,
             std::optional<std::int64_t> stride);
    void close(std::vector<AccessGroup>& open);
    std::int64_t speculativeStride(const AccessGroup& group);

    const llvm::DataLayout& m_layout;
    SpeculativeStrides m_speculative;
    std::vector<std::unique_ptr<AccessGroup>> m_all;
    llvm::DenseMap<const llvm::Instruction*, const AccessGroup*> m_groups;
};

} // namespace compute::simd
