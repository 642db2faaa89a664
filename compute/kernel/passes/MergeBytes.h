// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Programs reach the console's memory byte by byte, because its words may lie at any address: four
// bytes that are loaded and put together, or taken apart and stored. The processor reads and writes
// whole words at any address, so such bytes become one access.
//
// Indices are taken not to wrap around between the bytes of a word: where one does, a byte lies two
// gigabytes or more away from the others, and no buffer is that large.
#pragma once

#include "compute/kernel/Pass.h"

namespace compute::kernel {

/// Merges loads and stores of bytes within each block. Never fails.
platform::Result<void> mergeBytes(PassContext& context);

} // namespace compute::kernel
