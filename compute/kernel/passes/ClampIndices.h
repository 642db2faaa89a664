// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// An index outside an array means its last element, also where it is a constant: reading and
// writing there must not become undefined and vanish. Comes before anything optimises, and before
// adoptTarget(), which forgets which parameters are references. It sees single addresses only:
// BoundIndices.h deals with pointer arithmetic, once all calls are inlined.
#pragma once

#include "compute/kernel/Pass.h"

#include <llvm/IR/Instructions.h>

namespace compute::kernel {

/// Clamps the indices into arrays of a known length. Idempotent.
void clampIndices(llvm::GetElementPtrInst& address);

/// Clamps all addresses through which the module reads or writes. Others may lie past an array's
/// end, where loops over pointers stop.
platform::Result<void> clampIndices(PassContext& context);

} // namespace compute::kernel
