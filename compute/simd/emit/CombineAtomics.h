// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Atomics of all lanes at one uniform address, such as counters and sums. A prefix scan combines
// the operands across lanes, and memory is changed by a single atomic. Relaxed atomics may happen
// in any order; this is the order in which the lanes follow one another with no other thread in
// between.
#pragma once

#include "compute/simd/emit/WideValues.h"

#include <llvm/IR/Instructions.h>

namespace compute::simd {

/// Whether combineAtomics() can do it: associative operations on integers, and exchanges whose
/// result is unused. Sums of floats would round differently.
bool canCombine(const llvm::AtomicRMWInst& atomic, const WideValues& values);

/// Emits `atomic` for the lanes of the mask, of which there is at least one. Returns the value that
/// each lane found in memory; null when the result is unused.
llvm::Value* combineAtomics(LaneBuilder& builder, WideValues& values, llvm::AtomicRMWInst& atomic,
                            llvm::Value* mask);

} // namespace compute::simd
