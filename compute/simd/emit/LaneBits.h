// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Bit casts of whole vectors, between any type and integers of the same size. Access groups read
// and write memory in words of integers, whatever the types of their members.
#pragma once

#include "compute/simd/emit/LaneBuilder.h"

namespace compute::simd {

inline llvm::Type* integerOf(LaneBuilder& builder, std::uint64_t bytes) {
    return builder.getIntNTy(static_cast<unsigned>(bytes * 8));
}

/// A vector as integers of the type `bits`, which has the size of its elements.
inline llvm::Value* toBits(LaneBuilder& builder, llvm::Value* value, llvm::Type* bits) {
    return value->getType()->getScalarType()->isPointerTy()
               ? builder.CreatePtrToInt(value, builder.wideType(bits))
               : builder.CreateBitCast(value, builder.wideType(bits));
}

inline llvm::Value* fromBits(LaneBuilder& builder, llvm::Value* bits, llvm::Type* type) {
    return type->isPointerTy() ? builder.CreateIntToPtr(bits, builder.wideType(type))
                               : builder.CreateBitCast(bits, builder.wideType(type));
}

} // namespace compute::simd
