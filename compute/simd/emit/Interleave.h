// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Between vectors that hold one word of a structure for all lanes and memory that holds the
// structures one after the other.
#pragma once

#include "compute/simd/emit/LaneBuilder.h"

#include <llvm/ADT/ArrayRef.h>

namespace compute::simd {

using Words = llvm::SmallVector<llvm::Value*, 8>;

/// From one vector a word of the structure to the vectors of memory, in order. All have one element
/// a lane. Missing words may be null.
Words interleave(LaneBuilder& builder, llvm::ArrayRef<llvm::Value*> words);

/// From the vectors of memory to one vector a word.
Words deinterleave(LaneBuilder& builder, llvm::ArrayRef<llvm::Value*> memory);

/// The mask for the vector `part` of memory: set where the lane's structure is wanted and the word
/// is one of `words`, a bit each.
llvm::Value* interleaveMask(LaneBuilder& builder, llvm::Value* mask, unsigned part,
                            unsigned wordCount, unsigned words);

} // namespace compute::simd
