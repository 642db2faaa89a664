// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/spirv/passes/MemoryAccess.h"

#include <algorithm>

namespace compute::spirv {
namespace {

/// The largest number that memory holds as one.
constexpr std::uint64_t widestPart = 8;

} // namespace

std::optional<MemoryAccess> accessOf(llvm::Instruction& instruction, const llvm::DataLayout& layout,
                                     PointerRoots& roots) {
    MemoryAccess access{.instruction = &instruction};
    std::uint64_t alignment = 1;
    if (auto* load = llvm::dyn_cast<llvm::LoadInst>(&instruction)) {
        access.pointer = load->getPointerOperand();
        access.type = load->getType();
        alignment = load->getAlign().value();
    } else if (auto* store = llvm::dyn_cast<llvm::StoreInst>(&instruction)) {
        access.pointer = store->getPointerOperand();
        access.type = store->getValueOperand()->getType();
        alignment = store->getAlign().value();
    } else if (auto* atomic = llvm::dyn_cast<llvm::AtomicRMWInst>(&instruction)) {
        access.pointer = atomic->getPointerOperand();
        access.type = atomic->getType();
    } else if (auto* exchange = llvm::dyn_cast<llvm::AtomicCmpXchgInst>(&instruction)) {
        access.pointer = exchange->getPointerOperand();
        access.type = exchange->getCompareOperand()->getType();
    } else {
        return std::nullopt;
    }
    access.bytes = layout.getTypeStoreSize(access.type).getFixedValue();
    const std::uint64_t size = access.bytes & (~access.bytes + 1); // largest power of two in it
    alignment = std::max(alignment, roots.alignmentOf(*access.pointer));
    access.part = access.isAtomic() ? access.bytes : std::min({alignment, size, widestPart});
    return access;
}

} // namespace compute::spirv
