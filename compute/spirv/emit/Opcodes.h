// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What SPIR-V calls the operations of LLVM. None where it has no such operation.
#pragma once

#include <llvm/IR/InstrTypes.h>
#include <llvm/IR/Instructions.h>
#include <llvm/IR/Intrinsics.h>
#include <spirv/unified1/GLSL.std.450.h>
#include <spirv/unified1/spirv.hpp11>

#include <cstdint>
#include <optional>
#include <string>

namespace compute::spirv {

std::optional<spv::Op> opcodeOf(const llvm::BinaryOperator& operation);
/// Not for whether numbers are ordered at all, which takes several instructions.
std::optional<spv::Op> opcodeOf(const llvm::CmpInst& compare);
std::optional<spv::Op> opcodeOf(llvm::AtomicRMWInst::BinOp operation);
/// Functions that GLSL.std.450 has with the same operands.
std::optional<GLSLstd450> mathematicsOf(llvm::Intrinsic::ID function);
/// MemorySemanticsMask of atomics and barriers.
std::uint32_t semanticsOf(llvm::AtomicOrdering ordering);

/// An operation in words for the author of a program.
std::string nameOf(const llvm::Instruction& instruction);

} // namespace compute::spirv
