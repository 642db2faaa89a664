// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Keeps every access to a variable of the kernel inside that variable, whatever the index: a wrong
// index must not reach the return address, or another variable. An array index out of range means
// the array's last element; pointer arithmetic out of range means the variable's last bytes, or
// spare memory where the pointer may lead to several variables.
//
// Needs all calls inlined, so that pointers lead back to their variables, and comes before the
// optimisations that take an index out of range for impossible. Pointers that were read from memory
// are not followed, and buffers are not checked: containment/ keeps those in the kernel's memory.
#pragma once

#include "compute/kernel/Pass.h"

namespace compute::kernel {

/// Bounds the accesses of all functions of the context. Fails for a copy of variable length.
platform::Result<void> boundIndices(PassContext& context);

/// The same for accesses at constant offsets, as far as a single function shows them. Must come
/// before variables are promoted to registers, which drops an access outside its variable.
void boundConstantOffsets(llvm::Function& function);

} // namespace compute::kernel
