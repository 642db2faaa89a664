// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// How many numbers a thread has to remember at once, and how it spends its time. Two vectors in
// flight keep the processor busy while each of them waits for its last result, but need twice the
// registers.
#pragma once

#include "compute/simd/analysis/Strides.h"

namespace compute::simd {

struct RegisterPressure {
    unsigned numbers = 0;   ///< of 32 bits that differ by lane and are needed later, at most
    unsigned work = 0;      ///< operations on what differs by lane
    unsigned wide = 0;      ///< those of them with results of 64 bits
    unsigned scattered = 0; ///< accesses to memory, each lane somewhere else
};

/// Of the function's innermost loops if it has any, because there the time goes; else of all of it.
RegisterPressure registerPressureOf(llvm::Function& function, const llvm::LoopInfo& loops,
                                    const Strides& strides);

} // namespace compute::simd
