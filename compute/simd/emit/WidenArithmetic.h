// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Instructions that do not access memory, for all lanes at once. They ignore the mask: inactive
// lanes compute with whatever they hold. Only integer division, which could trap, is given a
// harmless divisor there.
#pragma once

#include "compute/simd/emit/WideValues.h"

namespace compute::simd {

/// The reason why an instruction cannot be widened; null when it can.
const char* arithmeticObstacle(const llvm::Instruction& instruction);

/// The vector of results, or null for instructions that access memory or have side effects. `mask`:
/// the active lanes.
llvm::Value* widenArithmetic(LaneBuilder& builder, WideValues& values,
                             const llvm::Instruction& instruction, llvm::Value* mask);

/// Emits an instruction with an affine result as a scalar, for lane 0 alone.
llvm::Value* firstOfAffine(LaneBuilder& builder, WideValues& values,
                           const llvm::Instruction& instruction);

/// The vector of an affine value: first + stride * lane.
llvm::Value* wideOfAffine(LaneBuilder& builder, WideValues& values, llvm::Value* first,
                          std::int64_t stride);

} // namespace compute::simd
