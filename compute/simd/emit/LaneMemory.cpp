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

/// Lets a table of the kernel's begin with a word of its own. False for other memory.
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

bool LaneMemory::hasMaskedRow(llvm::Type* type) const {
    const std::uint64_t size = sizeOf(type);
    return m_builder.lanes() >= 16 || (m_builder.lanes() == 8 && size >= 4);
}

bool LaneMemory::hasGather(llvm::Type* type) const {
    return m_builder.lanes() >= 8 && sizeOf(type) >= 4;
}

bool LaneMemory::hasScatter(llvm::Type* type) const {
    return m_builder.lanes() >= 16 && sizeOf(type) >= 4;
}

llvm::Value* LaneMemory::spare() {
    if (m_spare == nullptr)
        m_spare = m_builder.variable(m_builder.getInt8Ty(), spareBytes, llvm::Align(spareBytes));
    return m_spare;
}

LaneMemory::Pointers LaneMemory::safePointers(const Addresses& addresses, llvm::Value* mask) {
    llvm::Value* safe =
        m_builder.CreateSelect(mask, m_values.pointers(addresses), m_builder.broadcast(spare()));
    // On their way through memory they wait for nobody; taken out of the vector, for each other.
    llvm::Value* list =
        m_builder.variable(m_builder.getPtrTy(), m_builder.lanes(), llvm::Align(64));
    m_builder.CreateAlignedStore(safe, list, llvm::Align(64));
    Pointers pointers;
    for (unsigned lane = 0; lane < m_builder.lanes(); ++lane)
        pointers.push_back(m_builder.CreateAlignedLoad(
            m_builder.getPtrTy(), m_builder.CreateConstGEP1_32(m_builder.getPtrTy(), list, lane),
            llvm::Align(8)));
    return pointers;
}

LaneMemory::Row LaneMemory::findProgression(llvm::Value* numbers, std::int64_t step,
                                            llvm::Value* mask) {
    // Lanes without a thread may hold anything, but nothing that changes from one look to the next.
    numbers = m_builder.CreateFreeze(numbers);
    llvm::Value* first = m_builder.CreateExtractElement(numbers, std::uint64_t(0));
    llvm::Value* expected = m_builder.CreateAdd(m_builder.broadcast(first),
                                                m_builder.laneNumbers(first->getType(), step));
    llvm::Value* isElsewhere = m_builder.both(mask, m_builder.CreateICmpNE(numbers, expected));
    return {.first = first, .isThere = m_builder.CreateNot(m_builder.any(isElsewhere))};
}

LaneMemory::Row LaneMemory::findRow(const Addresses& addresses, std::int64_t stride,
                                    llvm::Value* mask) {
    const auto scale = static_cast<std::int64_t>(addresses.scale);
    const std::int64_t rest = stride - addresses.stride;
    if (addresses.base == nullptr || addresses.offsets == nullptr || rest % scale != 0) {
        llvm::Value* pointers = m_builder.CreateFreeze(m_values.pointers(addresses));
        Row row = findProgression(
            m_builder.CreatePtrToInt(pointers, m_builder.wideType(m_builder.getInt64Ty())), stride,
            mask);
        row.first = m_builder.CreateExtractElement(pointers, std::uint64_t(0));
        return row;
    }
    Row row = findProgression(addresses.offsets, rest / scale, mask);
    row.first = m_builder.CreateGEP(m_builder.getIntNTy(static_cast<unsigned>(8 * addresses.scale)),
                                    addresses.base, row.first);
    return row;
}

llvm::Value* LaneMemory::loadLikely(llvm::Type* type, const Addresses& addresses,
                                    std::int64_t stride, llvm::Value* mask) {
    const Row row = findRow(addresses, stride, mask);
    const auto load = [&] {
        return stride == 0
                   ? m_builder.broadcast(m_builder.CreateAlignedLoad(type, row.first, unaligned))
                   : loadRow(type, row.first, mask);
    };
    return m_builder.choose(
        row.isThere, "row", [&] { return LaneBuilder::Values{load()}; },
        [&] { return LaneBuilder::Values{gather(type, addresses, mask)}; })[0];
}

void LaneMemory::storeLikelyRow(llvm::Value* value, const Addresses& addresses, llvm::Value* mask) {
    const auto stride = static_cast<std::int64_t>(sizeOf(value->getType()->getScalarType()));
    const Row row = findRow(addresses, stride, mask);
    m_builder.choose(
        row.isThere, "row",
        [&] {
            storeRow(value, row.first, mask);
            return LaneBuilder::Values{};
        },
        [&] {
            scatter(value, addresses, mask);
            return LaneBuilder::Values{};
        });
}

llvm::Value* LaneMemory::loadRow(llvm::Type* type, llvm::Value* base, llvm::Value* mask) {
    llvm::Type* wide = m_builder.wideType(type);
    if (!hasMaskedRow(type))
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
    if (isNarrow && m_builder.lanes() >= 8)
        return gatherBytes(type, addresses, mask);
    return loadEachLane(type, addresses, mask);
}

/// For numbers of one or two bytes, whose words are read from `pointers` and, if not null,
/// `offsets` of 32 bits on. `places`: the lower bits of the addresses, at least as far as the word
/// counts.
struct LaneMemory::NarrowAddresses {
    llvm::Value* pointers;
    llvm::Value* offsets;
    llvm::Value* places;
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
                              ? m_values.withSteps(addresses)
                              : addresses;
    llvm::Value* offsets =
        m_builder.CreateSExtOrTrunc(all.offsets, m_builder.wideType(m_builder.getInt32Ty()));
    if (sizeOf(type) == 1 && alignTable(all.base))
        return {all.base, offsets, offsets};
    // From the beginning of a page on: an offset may be the lowest number of its 32 bits.
    llvm::Value* inPage =
        m_builder.CreateAnd(m_builder.CreatePtrToInt(all.base, m_builder.getInt64Ty()),
                            m_builder.getInt64(pageBytes - 1));
    offsets = m_builder.CreateAdd(
        offsets, m_builder.broadcast(m_builder.CreateTrunc(inPage, m_builder.getInt32Ty())));
    return {m_builder.CreatePtrAdd(all.base, m_builder.CreateNeg(inPage)), offsets, offsets};
}

/// Reads the word around the number, which may begin before it but never reaches into a page that
/// the number is not in: for bytes the aligned word.
llvm::Value* LaneMemory::gatherBytes(llvm::Type* type, const Addresses& addresses,
                                     llvm::Value* mask) {
    llvm::Type* word = m_builder.wideType(m_builder.getInt32Ty());
    const auto [pointers, offsets, places] = narrowAddresses(type, addresses);
    llvm::Value* back = bytesBeforeNumber(places, sizeOf(type));
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

llvm::Value* LaneMemory::bytesBeforeNumber(llvm::Value* places, std::uint64_t size) {
    const auto number = [&](std::uint64_t value) {
        return llvm::ConstantInt::get(places->getType(), value);
    };
    if (size == 1)
        return m_builder.CreateAnd(places, number(wordBytes - 1));
    llvm::Value* inPage = m_builder.CreateAnd(places, number(pageBytes - 1));
    llvm::Value* isLate = m_builder.CreateICmpUGT(inPage, number(pageBytes - wordBytes));
    return m_builder.CreateSelect(isLate, number(wordBytes - size), number(0));
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

void LaneMemory::storeRow(llvm::Value* value, llvm::Value* base, llvm::Value* mask) {
    llvm::Type* type = value->getType()->getScalarType();
    if (hasMaskedRow(type))
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
