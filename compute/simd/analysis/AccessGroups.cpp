// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/simd/analysis/AccessGroups.h"

#include <llvm/Analysis/ValueTracking.h>
#include <llvm/IR/InstIterator.h>
#include <llvm/IR/Instructions.h>
#include <llvm/IR/Module.h>

#include <algorithm>

namespace compute::simd {
namespace {

constexpr std::int64_t wordBytes = 4;

bool isSimple(const llvm::Instruction& access) {
    const auto* load = llvm::dyn_cast<llvm::LoadInst>(&access);
    return load != nullptr ? load->isSimple() : llvm::cast<llvm::StoreInst>(access).isSimple();
}

/// Whether the members cover every word that they touch completely.
bool coversWords(const AccessGroup& group) {
    unsigned bytes = 0;
    for (const AccessGroup::Member& member : group.members)
        bytes |= ((1u << member.size) - 1) << (member.offset - group.start());
    for (unsigned word = 0; word < AccessGroup::maxWords; ++word) {
        const unsigned touched = (bytes >> (word * wordBytes)) & 0xF;
        if (touched != 0 && touched != 0xF)
            return false;
    }
    return true;
}

/// Whether no member but those of two words straddles a boundary between words.
bool isAligned(const AccessGroup& group) {
    return std::ranges::all_of(group.members, [&](const AccessGroup::Member& member) {
        return (member.offset - group.start()) % std::min(member.size, wordBytes) == 0;
    });
}

} // namespace

std::int64_t AccessGroup::start() const {
    return std::ranges::min(members, {}, &Member::offset).offset;
}

std::int64_t AccessGroup::end() const {
    std::int64_t last = start();
    for (const Member& member : members)
        last = std::max(last, member.offset + member.size);
    return last;
}

unsigned AccessGroup::words() const {
    unsigned found = 0;
    for (const Member& member : members)
        for (std::int64_t byte = 0; byte < member.size; ++byte)
            found |= 1u << ((member.offset - start() + byte) / wordBytes);
    return found;
}

namespace {

/// Whether a plain gather or scatter does the same for pointers that are not affine.
bool isSingleWord(const AccessGroup& group) {
    return group.members.size() == 1 && group.members[0].size <= wordBytes;
}

bool isInterleavedVariable(const llvm::Value* pointer, const PrivateMemory& memory) {
    const auto* variable = llvm::dyn_cast<llvm::AllocaInst>(llvm::getUnderlyingObject(pointer, 0));
    return variable != nullptr && memory.kind(variable) == PrivateMemory::Kind::Interleaved;
}

} // namespace

AccessGroups::AccessGroups(llvm::Function& kernel, const Strides& strides,
                           const PrivateMemory& memory)
    : m_layout(kernel.getParent()->getDataLayout()), m_speculative(strides, m_layout) {
    for (llvm::BasicBlock& block : kernel)
        scan(block, strides, memory);
}

void AccessGroups::scan(llvm::BasicBlock& block, const Strides& strides,
                        const PrivateMemory& memory) {
    std::vector<AccessGroup> loads;
    std::vector<AccessGroup> stores;
    for (llvm::Instruction& instruction : block) {
        const llvm::Value* pointer = llvm::getLoadStorePointerOperand(&instruction);
        bool isMember = pointer != nullptr && isSimple(instruction);
        std::optional<std::int64_t> stride;
        if (isMember) {
            stride = strides.of(pointer);
            isMember = stride ? *stride >= wordBytes && *stride % wordBytes == 0 &&
                                    *stride <= AccessGroup::maxWords * wordBytes
                              : !isInterleavedVariable(pointer, memory);
        }
        if (instruction.mayWriteToMemory())
            close(loads);
        if (instruction.mayReadFromMemory())
            close(stores);
        if (isMember)
            add(llvm::isa<llvm::LoadInst>(instruction) ? loads : stores, instruction, stride);
        else if (instruction.mayWriteToMemory())
            close(stores);
    }
    close(loads);
    close(stores);
}

void AccessGroups::add(std::vector<AccessGroup>& open, llvm::Instruction& access,
                       std::optional<std::int64_t> stride) {
    llvm::APInt offset(64, 0);
    llvm::Value* root =
        llvm::getLoadStorePointerOperand(&access)->stripAndAccumulateConstantOffsets(
            m_layout, offset, /*AllowNonInbounds=*/true);
    const auto size = static_cast<std::int64_t>(
        m_layout.getTypeStoreSize(llvm::getLoadStoreType(&access)).getFixedValue());
    const AccessGroup::Member member{&access, offset.getSExtValue(), size};
    const bool isStore = llvm::isa<llvm::StoreInst>(access);
    for (AccessGroup& group : open) {
        if (group.root != root || group.isAffine != stride.has_value() ||
            group.stride != stride.value_or(0))
            continue;
        AccessGroup larger = group;
        larger.members.push_back(member);
        const bool fits =
            larger.end() - larger.start() <= stride.value_or(AccessGroup::maxWords * wordBytes);
        const bool overlaps =
            std::ranges::any_of(group.members, [&](const AccessGroup::Member& one) {
                return one.offset < member.offset + member.size &&
                       member.offset < one.offset + one.size;
            });
        if (fits && (!isStore || !overlaps)) {
            group = std::move(larger);
            return;
        }
    }
    // Stores stay in order, so a store outside the open group ends it. Loads may join any open
    // group; the number of these is limited to bound the time that the search takes.
    constexpr std::size_t maxOpen = 32;
    if (isStore || open.size() == maxOpen)
        close(open);
    open.push_back({.members = {member},
                    .root = root,
                    .stride = stride.value_or(0),
                    .isAffine = stride.has_value(),
                    .isStore = isStore});
}

std::int64_t AccessGroups::speculativeStride(const AccessGroup& group) {
    const std::int64_t size = group.end() - group.start();
    const std::int64_t stride = m_speculative.of(group.root).value_or(size);
    const bool isFit =
        stride >= size && stride % wordBytes == 0 && stride <= AccessGroup::maxWords * wordBytes;
    return isFit ? stride : size;
}

void AccessGroups::close(std::vector<AccessGroup>& open) {
    for (AccessGroup& group : open) {
        if (!isAligned(group) || !coversWords(group) || (!group.isAffine && isSingleWord(group)))
            continue;
        if (!group.isAffine)
            group.stride = speculativeStride(group);
        m_all.push_back(std::make_unique<AccessGroup>(std::move(group)));
        for (const AccessGroup::Member& member : m_all.back()->members)
            m_groups[member.access] = m_all.back().get();
    }
    open.clear();
}

} // namespace compute::simd
