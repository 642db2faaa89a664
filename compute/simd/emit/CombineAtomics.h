// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Atomics of all lanes at one address, as counters and sums are: the lanes' operands are combined
// first and memory is changed once. Nobody can tell, since relaxed atomics may happen in any order;
// this is the one in which the lanes come one after the other with nobody in between.
#pragma once

#include "compute/simd/emit/WideValues.h"

#include <llvm/IR/Instructions.h>

namespace compute::simd {

/// Whether combineAtomics() can do it: operations on integers that may be regrouped, and exchanges
/// whose result nobody uses. Sums of floats would round differently.
bool canCombine(const llvm::AtomicRMWInst& atomic, const WideValues& values);

/// Does `atomic` for the lanes of the mask, of which there is at least one, and returns what each
/// found; null when nobody uses it.
llvm::Value* combineAtomics(LaneBuilder& builder, WideValues& values, llvm::AtomicRMWInst& atomic,
                            llvm::Value* mask);

} // namespace compute::simd
