// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/host/memory/TableImage.h"

#include <llvm/IR/Constants.h>
#include <llvm/IR/Module.h>

#include <cstring>

namespace compute::host {

using platform::Error;
using platform::Result;

Result<TableImage> TableImage::make(std::span<llvm::GlobalVariable* const> tables,
                                    const llvm::DataLayout& layout) {
    TableImage image;
    std::uint64_t end = 0;
    for (const llvm::GlobalVariable* table : tables) {
        const std::uint64_t begin = llvm::alignTo(end, layout.getPreferredAlign(table));
        image.m_offsets[table] = begin;
        end = begin + layout.getTypeAllocSize(table->getValueType()).getFixedValue();
    }
    image.m_bytes.resize(end);
    for (const llvm::GlobalVariable* table : tables)
        SL42_TRY_VOID(image.write(*table->getInitializer(), image.m_offsets[table], layout));
    return image;
}

Result<void> TableImage::write(const llvm::Constant& value, std::uint64_t at,
                               const llvm::DataLayout& layout) {
    if (value.isNullValue() || llvm::isa<llvm::UndefValue>(value))
        return {};
    if (llvm::isa<llvm::ConstantAggregate, llvm::ConstantDataSequential>(value))
        return writeElements(value, at, layout);
    llvm::APInt bits;
    if (const auto* integer = llvm::dyn_cast<llvm::ConstantInt>(&value)) {
        bits = integer->getValue();
    } else if (const auto* number = llvm::dyn_cast<llvm::ConstantFP>(&value)) {
        bits = number->getValueAPF().bitcastToAPInt();
    } else {
        llvm::APInt offset(64, 0);
        const auto* table = llvm::dyn_cast<llvm::GlobalVariable>(
            value.stripAndAccumulateConstantOffsets(layout, offset, /*AllowNonInbounds=*/true));
        const auto found = table != nullptr ? m_offsets.find(table) : m_offsets.end();
        if (found == m_offsets.end())
            return Error{"a constant table holds a value that is not known when it is compiled"};
        bits = offset + found->second;
        m_addresses.push_back(at);
    }
    // The machines that this is made for are little-endian.
    bits = bits.zext(llvm::alignTo(bits.getBitWidth(), 64));
    std::memcpy(m_bytes.data() + at, bits.getRawData(),
                layout.getTypeStoreSize(value.getType()).getFixedValue());
    return {};
}

Result<void> TableImage::writeElements(const llvm::Constant& value, std::uint64_t at,
                                       const llvm::DataLayout& layout) {
    if (auto* structure = llvm::dyn_cast<llvm::StructType>(value.getType())) {
        const llvm::StructLayout& places = *layout.getStructLayout(structure);
        for (unsigned i = 0; i < structure->getNumElements(); ++i)
            SL42_TRY_VOID(
                write(*value.getAggregateElement(i), at + places.getElementOffset(i), layout));
        return {};
    }
    const auto* vector = llvm::dyn_cast<llvm::FixedVectorType>(value.getType());
    llvm::Type* type =
        vector != nullptr ? vector->getElementType() : value.getType()->getArrayElementType();
    if (vector != nullptr && type->getPrimitiveSizeInBits() % 8 != 0 && !type->isPointerTy())
        return Error{"a constant table holds packed bits"};
    const std::uint64_t count =
        vector != nullptr ? vector->getNumElements() : value.getType()->getArrayNumElements();
    const std::uint64_t stride = vector != nullptr ? layout.getTypeStoreSize(type).getFixedValue()
                                                   : layout.getTypeAllocSize(type).getFixedValue();
    for (std::uint64_t i = 0; i < count; ++i)
        SL42_TRY_VOID(
            write(*value.getAggregateElement(static_cast<unsigned>(i)), at + i * stride, layout));
    return {};
}

void TableImage::copyTo(std::byte* memory) const {
    std::memcpy(memory, m_bytes.data(), m_bytes.size());
    for (const std::uint64_t at : m_addresses) {
        std::uint64_t address = 0;
        std::memcpy(&address, memory + at, sizeof address);
        address += reinterpret_cast<std::uintptr_t>(memory);
        std::memcpy(memory + at, &address, sizeof address);
    }
}

} // namespace compute::host
