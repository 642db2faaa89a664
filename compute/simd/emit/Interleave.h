// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Shuffles between the two forms of a structure per lane: one vector for each word of the structure
// (structure of arrays), and the contents of memory, where the structures are contiguous
// (interleaved, array of structures).
#pragma once

#include "compute/simd/emit/LaneBuilder.h"

#include <llvm/ADT/ArrayRef.h>

namespace compute::simd {

using Words = llvm::SmallVector<llvm::Value*, 8>;

/// From one vector for each word to the vectors of memory, in order. All have one element per lane.
/// Words that are not wanted may be null.
Words interleave(LaneBuilder& builder, llvm::ArrayRef<llvm::Value*> words);

/// From the vectors of memory to one vector for each word.
Words deinterleave(LaneBuilder& builder, llvm::ArrayRef<llvm::Value*> memory);

/// The mask for vector number `part` of memory: set where the structure belongs to a lane of `mask`
/// and the word is one of `words`, which has a bit for each.
llvm::Value* interleaveMask(LaneBuilder& builder, llvm::Value* mask, unsigned part,
                            unsigned wordCount, unsigned words);

} // namespace compute::simd
