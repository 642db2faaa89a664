// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Keeps every access to a variable of the kernel inside that variable, whatever the index: a wrong
// index must not reach the return address, or another variable. An array index goes to the array's
// last element instead; what pointer arithmetic leads astray goes to the variable's last bytes, and
// where several variables are possible, to spare memory of its own.
//
// Needs all calls inlined, so that pointers lead back to their variables; comes before the
// optimisations that take an index out of range for impossible. Pointers read from memory are not
// followed, and buffers are not checked: the memory that a thread could reach there is not ours.
#pragma once

#include "compute/kernel/Pass.h"

namespace compute::kernel {

platform::Result<void> boundIndices(PassContext& context);

/// The same for accesses at constant offsets, as far as a function shows them. To be called before
/// variables become values, which drops such an access.
void boundConstantOffsets(llvm::Function& function);

} // namespace compute::kernel
