// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Division of vectors is the slowest arithmetic there is, and threads mostly divide by the same
// number: a length, a size, the steps of a loop. One reciprocal then serves all lanes, and with the
// tables of the host back end often all threads of a grid.
#pragma once

#include "compute/simd/analysis/Uniformity.h"

namespace compute::simd {

/// Replaces each division of what differs by lane by what does not, as far as the program's
/// language lets reciprocals be used. A multiplication is followed by one step of correction, after
/// which the quotient is rounded as the division would have (P. Markstein, "Computation of
/// elementary functions on the IBM RISC System/6000 processor", 1990, theorem 7): all widths give
/// the same result, and 49 / 49 is 1. Divisors of 2^126 and more give 0, their reciprocal is
/// denormal. The processor must have a fused multiply-add.
///
/// Returns whether the kernel was changed; `uniformity` does not know about its new values.
bool divideByReciprocals(llvm::Function& kernel, const Uniformity& uniformity);

} // namespace compute::simd
