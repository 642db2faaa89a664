// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The layout of what a vector of threads keeps while it waits at a barrier. The number of the
// barrier comes first.
#pragma once

#include <llvm/IR/DataLayout.h>
#include <llvm/IR/IRBuilder.h>

#include <algorithm>
#include <cstdint>

namespace compute::host {

class VectorFrame {
public:
    static constexpr std::uint64_t alignment = 64;

    /// Returns the offset of the new member.
    std::uint64_t add(std::uint64_t bytes, llvm::Align align) {
        const std::uint64_t offset = llvm::alignTo(m_bytes, std::min(align.value(), alignment));
        m_bytes = offset + bytes;
        return offset;
    }
    std::uint64_t add(llvm::Type& type, const llvm::DataLayout& layout) {
        return add(layout.getTypeAllocSize(&type).getFixedValue(), alignOf(type, layout));
    }
    /// Of the whole frame.
    std::uint64_t bytes() const { return llvm::alignTo(m_bytes, alignment); }

    static void store(llvm::IRBuilder<>& builder, llvm::Value* value, llvm::Value& frame,
                      std::uint64_t offset) {
        value = withBytes(builder, value);
        builder.CreateAlignedStore(value, place(builder, frame, offset), llvm::Align(1));
    }
    static llvm::Value* load(llvm::IRBuilder<>& builder, llvm::Type& type, llvm::Value& frame,
                             std::uint64_t offset) {
        llvm::Type* stored = storedType(type);
        llvm::Value* value =
            builder.CreateAlignedLoad(stored, place(builder, frame, offset), llvm::Align(1));
        if (stored == &type)
            return value;
        const auto bits = static_cast<unsigned>(type.getPrimitiveSizeInBits().getFixedValue());
        return builder.CreateBitCast(builder.CreateTrunc(value, builder.getIntNTy(bits)), &type);
    }

private:
    static llvm::Align alignOf(llvm::Type& type, const llvm::DataLayout& layout) {
        return std::min(layout.getPrefTypeAlign(&type), llvm::Align(alignment));
    }
    /// Conditions are kept as whole bytes.
    static llvm::Type* storedType(llvm::Type& type) {
        if (!type.getScalarType()->isIntegerTy(1))
            return &type;
        const std::uint64_t bits = type.getPrimitiveSizeInBits().getFixedValue();
        return llvm::Type::getIntNTy(type.getContext(),
                                     static_cast<unsigned>(llvm::alignTo(bits, 8)));
    }
    static llvm::Value* withBytes(llvm::IRBuilder<>& builder, llvm::Value* value) {
        llvm::Type* stored = storedType(*value->getType());
        if (stored == value->getType())
            return value;
        const auto bits =
            static_cast<unsigned>(value->getType()->getPrimitiveSizeInBits().getFixedValue());
        return builder.CreateZExt(builder.CreateBitCast(value, builder.getIntNTy(bits)), stored);
    }
    static llvm::Value* place(llvm::IRBuilder<>& builder, llvm::Value& frame,
                              std::uint64_t offset) {
        return builder.CreateConstGEP1_64(builder.getInt8Ty(), &frame, offset);
    }

    std::uint64_t m_bytes = 4;
};

} // namespace compute::host
