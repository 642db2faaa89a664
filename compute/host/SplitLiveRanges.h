// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Values that are computed long before they are used. There are far more of them than registers in
// a long kernel: what its rows have in common, everything that was computed once for all uses.
// The register allocator would put each of them into memory in the end, but first look for a better
// place through all the blocks that it lives in, which takes the square of the kernel's length.
#pragma once

#include <llvm/IR/Function.h>

namespace compute::host {

/// Keeps values that live through many blocks in memory, from where they are read again where they
/// are used, when there are too many of them to be kept in registers anyway. What came from common
/// memory is read there again. Takes a block for as long as splitBlocks() makes them.
void splitLiveRanges(llvm::Function& function);

} // namespace compute::host
