// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/spirv/passes/NumberBits.h"

namespace compute::spirv {

llvm::Type* partType(llvm::IRBuilder<>& builder, std::uint64_t bytes) {
    return builder.getIntNTy(static_cast<unsigned>(bytes) * 8);
}

llvm::Value* asBits(llvm::IRBuilder<>& builder, llvm::Value* value, std::uint64_t bytes) {
    if (!value->getType()->isIntegerTy())
        value = builder.CreateBitCast(
            value, builder.getIntNTy(value->getType()->getPrimitiveSizeInBits()));
    return builder.CreateZExtOrTrunc(value, partType(builder, bytes));
}

llvm::Value* fromBits(llvm::IRBuilder<>& builder, llvm::Value* bits, llvm::Type* type) {
    if (type->isIntegerTy())
        return builder.CreateZExtOrTrunc(bits, type);
    return builder.CreateBitCast(
        builder.CreateZExtOrTrunc(bits, builder.getIntNTy(type->getPrimitiveSizeInBits())), type);
}

llvm::Value* partAt(llvm::IRBuilder<>& builder, llvm::Value* bits, std::uint64_t at,
                    std::uint64_t partBytes) {
    return builder.CreateTrunc(builder.CreateLShr(bits, at * 8), partType(builder, partBytes));
}

llvm::Value* joined(llvm::IRBuilder<>& builder, std::uint64_t bytes, std::uint64_t partBytes,
                    llvm::function_ref<llvm::Value*(std::uint64_t)> part) {
    llvm::Type* whole = partType(builder, bytes);
    llvm::Value* all = nullptr;
    for (std::uint64_t i = 0; i < bytes / partBytes; ++i) {
        llvm::Value* bits = builder.CreateZExt(part(i), whole);
        bits = builder.CreateShl(bits, i * partBytes * 8);
        all = all == nullptr ? bits : builder.CreateOr(all, bits);
    }
    return all;
}

} // namespace compute::spirv
