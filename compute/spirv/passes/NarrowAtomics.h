// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Atomics of 8 and 16 bits, such as atomic_bool: devices have those of whole words alone. Each
// becomes one of the word around, tried again until no other thread has come between.
#pragma once

#include <llvm/IR/Function.h>

namespace compute::spirv {

void expandNarrowAtomics(llvm::Function& function);

} // namespace compute::spirv
