// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/simd/emit/LaneMemory.h"

#include "compute/simd/emit/LaneBits.h"

#include <llvm/IR/Module.h>

namespace compute::simd {
namespace {

const llvm::Align unaligned(1);
constexpr std::uint64_t wordBytes = 4;
constexpr std::uint64_t pageBytes = 4096;

/// Aligns a constant table of the kernel to words. False for other memory.
bool alignTable(llvm::Value* base) {
    auto* table = llvm::dyn_cast<llvm::GlobalVariable>(base);
    if (table == nullptr || !table->hasInitializer())
        return false;
    table->setAlignment(std::max(table->getAlign().valueOrOne(), llvm::Align(wordBytes)));
    return true;
}

} // namespace

std::uint64_t LaneMemory::sizeOf(llvm::Type* type) const {
    return m_builder.GetInsertBlock()
        ->getModule()
        ->getDataLayout()
        .getTypeStoreSize(type)
        .getFixedValue();
}

bool LaneMemory::hasMaskedAccess(llvm::Type* type) const {
    const std::uint64_t size = sizeOf(type);
    return m_builder.processorLanes() >= 16 || (m_builder.processorLanes() == 8 && size >= 4);
}

bool LaneMemory::hasGather(llvm::Type* type) const {
    return m_builder.processorLanes() >= 8 && sizeOf(type) >= 4;
}

bool LaneMemory::hasScatter(llvm::Type* type) const {
    return m_builder.processorLanes() >= 16 && sizeOf(type) >= 4;
}

llvm::Value* LaneMemory::scratch() {
    if (m_scratch == nullptr)
        m_scratch =
            m_builder.temporary(m_builder.getInt8Ty(), scratchBytes, llvm::Align(scratchBytes));
    return m_scratch;
}

LaneMemory::Pointers LaneMemory::safePointers(const Addresses& addresses, llvm::Value* mask) {
    llvm::Value* safe =
        m_builder.CreateSelect(mask, m_values.pointers(addresses), m_builder.broadcast(scratch()));
    // Scalar loads from memory are independent of one another; extracting the elements would form a
    // chain of shuffles.
    llvm::Value* list =
        m_builder.temporary(m_builder.getPtrTy(), m_builder.lanes(), llvm::Align(64));
    m_builder.CreateAlignedStore(safe, list, llvm::Align(64));
    Pointers pointers;
    for (unsigned lane = 0; lane < m_builder.lanes(); ++lane)
        pointers.push_back(m_builder.CreateAlignedLoad(
            m_builder.getPtrTy(), m_builder.CreateConstGEP1_32(m_builder.getPtrTy(), list, lane),
            llvm::Align(8)));
    return pointers;
}

LaneMemory::StrideCheck LaneMemory::checkProgression(llvm::Value* numbers, std::int64_t step,
                                                     llvm::Value* mask) {
    // Lanes outside the mask may be undefined; frozen, they have one value at all of their uses.
    numbers = m_builder.CreateFreeze(numbers);
    llvm::Value* first = m_builder.CreateExtractElement(numbers, std::uint64_t(0));
    llvm::Value* expected = m_builder.CreateAdd(m_builder.broadcast(first),
                                                m_builder.laneNumbers(first->getType(), step));
    llvm::Value* differs = m_builder.maskAnd(mask, m_builder.CreateICmpNE(numbers, expected));
    return {.first = first, .holds = m_builder.CreateNot(m_builder.any(differs))};
}

LaneMemory::StrideCheck LaneMemory::checkStride(const Addresses& addresses, std::int64_t stride,
                                                llvm::Value* mask) {
    const auto scale = static_cast<std::int64_t>(addresses.scale);
    const std::int64_t rest = stride - addresses.stride;
    if (addresses.base == nullptr || addresses.offsets == nullptr || rest % scale != 0) {
        llvm::Value* pointers = m_builder.CreateFreeze(m_values.pointers(addresses));
        StrideCheck check = checkProgression(
            m_builder.CreatePtrToInt(pointers, m_builder.wideType(m_builder.getInt64Ty())), stride,
            mask);
        check.first = m_builder.CreateExtractElement(pointers, std::uint64_t(0));
        return check;
    }
    StrideCheck check = checkProgression(addresses.offsets, rest / scale, mask);
    check.first =
        m_builder.CreateGEP(m_builder.getIntNTy(static_cast<unsigned>(8 * addresses.scale)),
                            addresses.base, check.first);
    return check;
}

llvm::Value* LaneMemory::loadSpeculatively(llvm::Type* type, const Addresses& addresses,
                                           std::int64_t stride, llvm::Value* mask) {
    const StrideCheck check = checkStride(addresses, stride, mask);
    const auto load = [&] {
        return stride == 0
                   ? m_builder.broadcast(m_builder.CreateAlignedLoad(type, check.first, unaligned))
                   : loadContiguous(type, check.first, mask);
    };
    return m_builder.ifElse(
        check.holds, "strided", [&] { return LaneBuilder::Values{load()}; },
        [&] { return LaneBuilder::Values{gather(type, addresses, mask)}; })[0];
}

void LaneMemory::storeSpeculatively(llvm::Value* value, const Addresses& addresses,
                                    llvm::Value* mask) {
    const auto stride = static_cast<std::int64_t>(sizeOf(value->getType()->getScalarType()));
    const StrideCheck check = checkStride(addresses, stride, mask);
    m_builder.ifElse(
        check.holds, "strided",
        [&] {
            storeContiguous(value, check.first, mask);
            return LaneBuilder::Values{};
        },
        [&] {
            scatter(value, addresses, mask);
            return LaneBuilder::Values{};
        });
}

llvm::Value* LaneMemory::loadContiguous(llvm::Type* type, llvm::Value* base, llvm::Value* mask) {
    llvm::Type* wide = m_builder.wideType(type);
    if (!hasMaskedAccess(type))
        return loadEachLane(type, {.base = base, .stride = static_cast<std::int64_t>(sizeOf(type))},
                            mask);
    return m_builder.CreateMaskedLoad(wide, base, unaligned, mask,
                                      llvm::Constant::getNullValue(wide));
}

llvm::Value* LaneMemory::gather(llvm::Type* type, const Addresses& addresses, llvm::Value* mask) {
    if (hasGather(type))
        return m_builder.CreateMaskedGather(m_builder.wideType(type), m_values.pointers(addresses),
                                            unaligned, mask);
    const bool isNarrow = type->isIntegerTy(8) || type->isIntegerTy(16) || type->isHalfTy();
    if (isNarrow && m_builder.processorLanes() >= 8)
        return gatherNarrow(type, addresses, mask);
    return loadEachLane(type, addresses, mask);
}

/// Addresses of numbers of one or two bytes: `pointers`, plus `offsets` of 32 bits unless they are
/// null. `lowBits` holds at least those low bits of the addresses that gatherNarrow() looks at.
struct LaneMemory::NarrowAddresses {
    llvm::Value* pointers;
    llvm::Value* offsets;
    llvm::Value* lowBits;
};

LaneMemory::NarrowAddresses LaneMemory::narrowAddresses(llvm::Type* type,
                                                        const Addresses& addresses) {
    const bool hasNarrowOffsets =
        addresses.base != nullptr && addresses.scale == 1 &&
        (addresses.offsets == nullptr ||
         addresses.offsets->getType()->getScalarType()->isIntegerTy(8 * wordBytes));
    if (!hasNarrowOffsets) {
        llvm::Value* pointers = m_values.pointers(addresses);
        return {pointers, nullptr,
                m_builder.CreatePtrToInt(pointers, m_builder.wideType(m_builder.getInt64Ty()))};
    }
    const Addresses all = addresses.offsets == nullptr || addresses.stride != 0
                              ? m_values.foldStride(addresses)
                              : addresses;
    llvm::Value* offsets =
        m_builder.CreateSExtOrTrunc(all.offsets, m_builder.wideType(m_builder.getInt32Ty()));
    if (sizeOf(type) == 1 && alignTable(all.base))
        return {all.base, offsets, offsets};
    // Offsets are made relative to the beginning of the page, so that they end with the low bits of
    // the address, and so that gatherNarrow() can subtract from the lowest offset of 32 bits.
    llvm::Value* inPage =
        m_builder.CreateAnd(m_builder.CreatePtrToInt(all.base, m_builder.getInt64Ty()),
                            m_builder.getInt64(pageBytes - 1));
    offsets = m_builder.CreateAdd(
        offsets, m_builder.broadcast(m_builder.CreateTrunc(inPage, m_builder.getInt32Ty())));
    return {m_builder.CreatePtrAdd(all.base, m_builder.CreateNeg(inPage)), offsets, offsets};
}

/// Gathers the words that contain the numbers. A word may begin before its number, but it never
/// touches a page that the number does not touch; for a byte it is the aligned word.
llvm::Value* LaneMemory::gatherNarrow(llvm::Type* type, const Addresses& addresses,
                                      llvm::Value* mask) {
    llvm::Type* word = m_builder.wideType(m_builder.getInt32Ty());
    const auto [pointers, offsets, lowBits] = narrowAddresses(type, addresses);
    llvm::Value* back = bytesBeforeNumber(lowBits, sizeOf(type));
    llvm::Value* start =
        offsets != nullptr ? m_builder.CreateSub(offsets, back) : m_builder.CreateNeg(back);
    llvm::Value* words = m_builder.CreateMaskedGather(
        word, m_builder.CreateGEP(m_builder.getInt8Ty(), pointers, start), unaligned, mask);
    llvm::Value* shift = m_builder.CreateShl(m_builder.CreateZExtOrTrunc(back, word), 3);
    llvm::Type* bits = integerOf(m_builder, sizeOf(type));
    return fromBits(
        m_builder,
        m_builder.CreateTrunc(m_builder.CreateLShr(words, shift), m_builder.wideType(bits)), type);
}

llvm::Value* LaneMemory::bytesBeforeNumber(llvm::Value* lowBits, std::uint64_t size) {
    const auto number = [&](std::uint64_t value) {
        return llvm::ConstantInt::get(lowBits->getType(), value);
    };
    if (size == 1)
        return m_builder.CreateAnd(lowBits, number(wordBytes - 1));
    llvm::Value* inPage = m_builder.CreateAnd(lowBits, number(pageBytes - 1));
    llvm::Value* crossesPage = m_builder.CreateICmpUGT(inPage, number(pageBytes - wordBytes));
    return m_builder.CreateSelect(crossesPage, number(wordBytes - size), number(0));
}

llvm::Value* LaneMemory::loadEachLane(llvm::Type* type, const Addresses& addresses,
                                      llvm::Value* mask) {
    llvm::Value* result = llvm::PoisonValue::get(m_builder.wideType(type));
    std::uint64_t lane = 0;
    for (llvm::Value* pointer : safePointers(addresses, mask))
        result = m_builder.CreateInsertElement(
            result, m_builder.CreateAlignedLoad(type, pointer, unaligned), lane++);
    return result;
}

void LaneMemory::storeContiguous(llvm::Value* value, llvm::Value* base, llvm::Value* mask) {
    llvm::Type* type = value->getType()->getScalarType();
    if (hasMaskedAccess(type))
        m_builder.CreateMaskedStore(value, base, unaligned, mask);
    else
        scatter(value, {.base = base, .stride = static_cast<std::int64_t>(sizeOf(type))}, mask);
}

void LaneMemory::scatter(llvm::Value* value, const Addresses& addresses, llvm::Value* mask) {
    if (hasScatter(value->getType()->getScalarType())) {
        m_builder.CreateMaskedScatter(value, m_values.pointers(addresses), unaligned, mask);
        return;
    }
    std::uint64_t lane = 0;
    for (llvm::Value* pointer : safePointers(addresses, mask))
        m_builder.CreateAlignedStore(m_builder.CreateExtractElement(value, lane++), pointer,
                                     unaligned);
}

} // namespace compute::simd
