// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Register pressure and instruction mix of a function, which decide how many vectors run through it
// at once. Two vectors in flight hide each other's latency but need twice the registers.
#pragma once

#include "compute/simd/analysis/Strides.h"

namespace compute::simd {

struct RegisterPressure {
    unsigned liveWords = 0; ///< the most words of 32 bits, of varying values, that are live at once
    unsigned arithmetic = 0; ///< instructions with a varying result
    unsigned wide = 0;       ///< those of them with a result of 64 bits
    unsigned scattered = 0;  ///< gathers and scatters; an atomic counts as several
};

/// Looks at the innermost loops alone if the function has loops, since they take most of the time.
RegisterPressure registerPressureOf(llvm::Function& function, const llvm::LoopInfo& loops,
                                    const Strides& strides);

} // namespace compute::simd
