// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Numbers as the bits that memory holds, in one piece or in parts.
#pragma once

#include <llvm/ADT/STLFunctionalExtras.h>
#include <llvm/IR/IRBuilder.h>

#include <cstdint>

namespace compute::spirv {

llvm::Type* partType(llvm::IRBuilder<>& builder, std::uint64_t bytes);

/// An integer of so many bytes.
llvm::Value* asBits(llvm::IRBuilder<>& builder, llvm::Value* value, std::uint64_t bytes);

llvm::Value* fromBits(llvm::IRBuilder<>& builder, llvm::Value* bits, llvm::Type* type);

/// The part of these bits that begins at a byte.
llvm::Value* partAt(llvm::IRBuilder<>& builder, llvm::Value* bits, std::uint64_t at,
                    std::uint64_t partBytes);

/// Puts the parts together that `part(i)` gives.
llvm::Value* joined(llvm::IRBuilder<>& builder, std::uint64_t bytes, std::uint64_t partBytes,
                    llvm::function_ref<llvm::Value*(std::uint64_t)> part);

} // namespace compute::spirv
