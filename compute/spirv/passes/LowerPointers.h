// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Takes all pointers out of a kernel. What is left of them are numbers of 64 bits: addresses of the
// device, or, for variables, addresses that no device has, in the upper half of which the number of
// the variable stands. An access then is
//
// - to one variable: a read or write at an index that is inside of it;
// - to a buffer: a load or store at the address if it lies in that buffer, else in spare memory.
//   A pointer that comes out of memory or of a number leads into whatever record of the memory
//   table it points to when it appears, and no further, or to spare memory;
// - to one of several: all of these, each with an index or address of its own, without a branch.
//
// Words lie at multiples of their size: where an address is not known to be one, it is rounded
// down, and what the front end gave no alignment is put together from parts.
//
// So this is the wall that keeps a kernel in its memory, and everything after it can be trusted no
// less than the driver. Needs all functions of the kernel, without memory intrinsics.
#pragma once

#include "compute/spirv/passes/Lowering.h"

namespace compute::spirv {

/// Fails for what has no place in SPIR-V: a threadgroup's memory that is both atomics and bytes,
/// tables of pointers.
platform::Result<void> lowerPointers(Lowering& lowering);

} // namespace compute::spirv
