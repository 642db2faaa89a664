// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What the threads of a SIMD-group do together: shuffles, votes, reductions and scans. The lanes
// are the SIMD-group and the mask says which of its threads take part. Floating-point numbers are
// combined in the same order at every width of the processor's vectors.
#pragma once

#include "compute/simd/emit/WideValues.h"

namespace compute::simd {

/// Emits a call of one of the functions of kernel/GroupOperations.h, for the lanes of the mask, of
/// which there is at least one. All but a threadgroup's barrier need as many lanes as a SIMD-group
/// has threads.
void widenTogether(LaneBuilder& builder, WideValues& values, llvm::CallInst& call,
                   llvm::Value* mask);

} // namespace compute::simd
