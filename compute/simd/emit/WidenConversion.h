// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Saturating conversion of floating-point numbers to integers, for all lanes at once. A number that
// is out of range becomes the nearest integer in range, and NaN becomes 0. The processor has no
// instruction for that, and LLVM would convert lane by lane.
#pragma once

#include "compute/simd/emit/LaneBuilder.h"

namespace compute::simd {

/// Converts the vector `numbers` to integers of the scalar `type`.
llvm::Value* convertSaturating(LaneBuilder& builder, llvm::Value* numbers, llvm::Type* type,
                               bool isSigned);

} // namespace compute::simd
