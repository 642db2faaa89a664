// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/simd/LaneMemory.h"

#include "compute/simd/LaneBits.h"

#include <llvm/IR/Module.h>

namespace compute::simd {
namespace {

const llvm::Align unaligned(1);
constexpr std::int64_t wordBytes = 4;

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
        m_spare = m_builder.variable(m_builder.getInt64Ty(), 1, llvm::Align(8));
    return m_spare;
}

llvm::Value* LaneMemory::safePointers(const Addresses& addresses, llvm::Value* mask) {
    return m_builder.CreateSelect(mask, m_values.pointers(addresses), m_builder.broadcast(spare()));
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

/// Reads the word around the number, which may begin before it but never reaches into a page that
/// the number is not in.
llvm::Value* LaneMemory::gatherBytes(llvm::Type* type, const Addresses& addresses,
                                     llvm::Value* mask) {
    constexpr std::uint64_t pageBytes = 4096;
    const auto lowest = static_cast<std::uint64_t>(wordBytes) - sizeOf(type);
    llvm::Type* wide = m_builder.wideType(m_builder.getInt64Ty());
    const auto number = [&](std::uint64_t value) {
        return m_builder.broadcast(m_builder.getInt64(value));
    };
    llvm::Value* pointers = m_values.pointers(addresses);
    llvm::Value* inPage =
        m_builder.CreateAnd(m_builder.CreatePtrToInt(pointers, wide), number(pageBytes - 1));
    llvm::Value* isLate =
        m_builder.CreateICmpUGT(inPage, number(pageBytes - static_cast<std::uint64_t>(wordBytes)));
    llvm::Value* back = m_builder.CreateSelect(isLate, number(lowest), number(0));
    llvm::Value* words = m_builder.CreateMaskedGather(
        m_builder.wideType(m_builder.getInt32Ty()),
        m_builder.CreateGEP(m_builder.getInt8Ty(), pointers, m_builder.CreateNeg(back)), unaligned,
        mask);
    llvm::Type* wordType = m_builder.wideType(m_builder.getInt32Ty());
    llvm::Value* shift = m_builder.CreateSelect(
        isLate, llvm::ConstantInt::get(wordType, 8 * lowest), llvm::ConstantInt::get(wordType, 0));
    llvm::Type* bits = integerOf(m_builder, sizeOf(type));
    return fromBits(
        m_builder,
        m_builder.CreateTrunc(m_builder.CreateLShr(words, shift), m_builder.wideType(bits)), type);
}

llvm::Value* LaneMemory::loadEachLane(llvm::Type* type, const Addresses& addresses,
                                      llvm::Value* mask) {
    llvm::Value* pointers = safePointers(addresses, mask);
    llvm::Value* result = llvm::PoisonValue::get(m_builder.wideType(type));
    for (unsigned lane = 0; lane < m_builder.lanes(); ++lane) {
        llvm::Value* pointer = m_builder.CreateExtractElement(pointers, lane);
        result = m_builder.CreateInsertElement(
            result, m_builder.CreateAlignedLoad(type, pointer, unaligned), lane);
    }
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
    llvm::Value* pointers = safePointers(addresses, mask);
    for (unsigned lane = 0; lane < m_builder.lanes(); ++lane)
        m_builder.CreateAlignedStore(m_builder.CreateExtractElement(value, lane),
                                     m_builder.CreateExtractElement(pointers, lane), unaligned);
}

} // namespace compute::simd
