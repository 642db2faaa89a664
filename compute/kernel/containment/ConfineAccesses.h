// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Keeps every access of a kernel in the memory that is the kernel's, whatever the program computes.
// Where AddressRanges proves that already, nothing changes: an index of 32 bits into a buffer, an
// index inside a variable. Any other pointer (from memory, from an integer, with a wide index) has
// its upper bits replaced by those of the region of kernels. That is one instruction, and a pointer
// that was right stays the same.
//
// Works on code for one thread and on vectors of lanes. Comes right before code generation, so that
// no pass before it need be trusted.
#pragma once

#include <llvm/IR/Function.h>

namespace compute::kernel {

/// Variables and tables that an access may leave, or whose address escapes, must lie in the region
/// already (compute/host/memory/PlaceVariables.h).
void confineAccesses(llvm::Function& function);

} // namespace compute::kernel
