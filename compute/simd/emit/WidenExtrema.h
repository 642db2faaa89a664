// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The smaller or larger of two floats, for all lanes at once, where one of them may be NaN and the
// other one is the result then. LLVM takes three instructions for that.
#pragma once

#include "compute/simd/emit/LaneBuilder.h"

namespace compute::simd {

/// One instruction of AVX-512 for each vector in flight; null where there is none, or where the
/// plain instruction does because one operand is a constant.
llvm::Value* extremum(LaneBuilder& builder, llvm::Value* first, llvm::Value* second, bool isLarger);

} // namespace compute::simd
