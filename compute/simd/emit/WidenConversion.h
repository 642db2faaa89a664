// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Floating-point numbers to integers in all lanes. A number that does not fit becomes the nearest
// integer that does, and what is no number becomes 0. The processor has no instruction for that,
// and LLVM would take the lanes one by one.
#pragma once

#include "compute/simd/emit/LaneBuilder.h"

namespace compute::simd {

/// `numbers` as integers of `type`, one lane's.
llvm::Value* convertSaturating(LaneBuilder& builder, llvm::Value* numbers, llvm::Type* type,
                               bool isSigned);

} // namespace compute::simd
