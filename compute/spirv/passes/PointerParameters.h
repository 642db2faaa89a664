// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Functions that are not inlined take and return addresses as numbers, as all other code does once
// pointers are lowered.
#pragma once

#include "compute/spirv/passes/Lowering.h"

namespace compute::spirv {

bool hasPointers(const llvm::Function& function);

/// A function that takes and returns numbers instead, with the body and in the place of `old`.
void replacePointers(Lowering& lowering, llvm::Function& old);

} // namespace compute::spirv
