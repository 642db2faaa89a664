// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Conversions between half and float on processors that have none (before F16C), for all lanes at
// once and in integers. LLVM would call a function for each lane.
#pragma once

#include "compute/simd/emit/LaneBuilder.h"

namespace compute::simd {

/// A vector of floats, rounded to the nearest half, ties to even.
llvm::Value* floatToHalf(LaneBuilder& builder, llvm::Value* numbers);
/// A vector of halves, exactly.
llvm::Value* halfToFloat(LaneBuilder& builder, llvm::Value* halves);

} // namespace compute::simd
