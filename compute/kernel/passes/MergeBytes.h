// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Programs reach the console's memory byte by byte, because its words may lie at any address: four
// bytes that are loaded and put together, or taken apart and stored. The processor reads and writes
// whole words at any address, so such bytes become one access.
//
// Indices count as if they did not wrap around within a word: where one does, a byte of the word is
// two gigabytes or more away from the others, and no buffer is that large.
#pragma once

#include "compute/kernel/Pass.h"

namespace compute::kernel {

platform::Result<void> mergeBytes(PassContext& context);

} // namespace compute::kernel
