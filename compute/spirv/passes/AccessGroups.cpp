// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/spirv/passes/AccessGroups.h"

#include <llvm/ADT/MapVector.h>

#include <algorithm>

namespace compute::spirv {
namespace {

/// Spare memory has room for a group.
constexpr std::uint64_t largestGroup = 16;

/// What the program says about the address; more than the access itself needs in vectors.
std::uint64_t promisedAlignment(llvm::Instruction& access) {
    return std::min(llvm::getLoadStoreAlignment(&access).value(), largestGroup);
}

bool canBeGrouped(const MemoryAccess& access, PointerRoots& roots) {
    if (access.isAtomic() || access.instruction->isAtomic() || access.type->isPointerTy())
        return false;
    const Roots& from = roots.of(*access.pointer);
    return from.variables.empty() && !from.addresses.empty();
}

} // namespace

AccessGroups::AccessGroups(std::span<const MemoryAccess> accesses, const llvm::DataLayout& layout,
                           PointerRoots& roots) {
    using Place = std::pair<const llvm::BasicBlock*, const llvm::Value*>;
    llvm::MapVector<Place, std::vector<Candidate>> all;
    for (const MemoryAccess& access : accesses) {
        if (!canBeGrouped(access, roots))
            continue;
        llvm::APInt offset(64, 0);
        const llvm::Value* base =
            access.pointer->stripAndAccumulateConstantOffsets(layout, offset, true);
        all[{access.instruction->getParent(), base}].push_back(
            {.access = &access, .offset = offset.getSExtValue()});
    }
    for (auto& [place, candidates] : all)
        form(candidates);
}

void AccessGroups::form(std::span<Candidate> candidates) {
    for (std::uint64_t alignment = largestGroup; alignment > 1; alignment /= 2)
        for (const Candidate& first : candidates)
            if (!first.isTaken && promisedAlignment(*first.access->instruction) == alignment &&
                alignment > first.access->bytes)
                formFrom(first, alignment, candidates);
}

void AccessGroups::formFrom(const Candidate& start, std::uint64_t alignment,
                            std::span<Candidate> candidates) {
    std::vector<Candidate*> members;
    std::uint64_t end = 0;
    for (Candidate& candidate : candidates) {
        const auto offset = static_cast<std::uint64_t>(candidate.offset - start.offset);
        // Addresses are rounded down to the part; one rounding must do for all of them.
        if (candidate.isTaken || candidate.access->part != start.access->part ||
            offset >= alignment || offset + candidate.access->bytes > alignment ||
            offset % start.access->part != 0)
            continue;
        members.push_back(&candidate);
        end = std::max(end, offset + candidate.access->bytes);
    }
    if (members.size() < 2)
        return;
    const std::int64_t begin = start.offset;
    for (Candidate* member : members) {
        member->isTaken = true;
        m_places[member->access->instruction] = {.first = members.front()->access->instruction,
                                                 .offset = member->offset - begin,
                                                 .bytes = end,
                                                 .alignment = alignment};
    }
}

std::optional<GroupPlace> AccessGroups::placeOf(const llvm::Instruction& access) const {
    const auto found = m_places.find(&access);
    return found != m_places.end() ? std::optional(found->second) : std::nullopt;
}

} // namespace compute::spirv
