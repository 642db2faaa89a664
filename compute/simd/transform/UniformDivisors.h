// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Vector division is the slowest arithmetic instruction, and divisors are mostly uniform: a length,
// a size, the number of steps of a loop. One scalar reciprocal then serves all lanes. The host back
// end often hoists it, so that it serves all threads of a grid.
#pragma once

#include "compute/simd/analysis/Uniformity.h"

namespace compute::simd {

/// Replaces each division of a varying value by a uniform one with a multiplication by the
/// reciprocal, where fast-math flags allow reciprocals. One correction step follows, after which
/// the quotient is rounded as that of the division (P. Markstein, "Computation of elementary
/// functions on the IBM RISC System/6000 processor", 1990, theorem 7). So every SIMD width gives
/// the same result, and 49 / 49 is 1. Divisors of 2^126 and more give 0 because their reciprocal is
/// denormal. The processor must have a fused multiply-add.
///
/// Returns whether the kernel was changed; `uniformity` does not know its new values.
bool divideByReciprocals(llvm::Function& kernel, const Uniformity& uniformity);

} // namespace compute::simd
