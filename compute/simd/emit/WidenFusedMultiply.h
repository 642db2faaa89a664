// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Fused multiply-add on processors that have none, for all lanes at once. LLVM would call a
// function for each lane.
#pragma once

#include "compute/simd/emit/LaneBuilder.h"

namespace compute::simd {

/// a * b + c of vectors of floats, rounded once.
llvm::Value* fusedMultiply(LaneBuilder& builder, llvm::Value* a, llvm::Value* b, llvm::Value* c);

} // namespace compute::simd
