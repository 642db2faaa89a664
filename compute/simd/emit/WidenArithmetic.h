// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Instructions that touch no memory, done in all lanes at once. Lanes without a thread compute
// along, on whatever they hold; only integer division has to be kept from trapping there.
#pragma once

#include "compute/simd/emit/WideValues.h"

namespace compute::simd {

/// Why an instruction cannot be done in lanes; null when it can.
const char* arithmeticObstacle(const llvm::Instruction& instruction);

/// The vector of results, or null for instructions that access memory or have effects. `mask`: the
/// threads that are here.
llvm::Value* widenArithmetic(LaneBuilder& builder, WideValues& values,
                             const llvm::Instruction& instruction, llvm::Value* mask);

/// Where a value grows evenly from lane to lane: the instruction for lane 0 alone.
llvm::Value* firstOfEven(LaneBuilder& builder, WideValues& values,
                         const llvm::Instruction& instruction);

/// All lanes of a value that is `first` in lane 0 and grows by `stride`.
llvm::Value* wideOfEven(LaneBuilder& builder, WideValues& values, llvm::Value* first,
                        std::int64_t stride);

} // namespace compute::simd
