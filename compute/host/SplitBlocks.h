// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Instructions are selected and put in order block by block, in a time that grows faster than the
// block. A long program without a branch is one block.
#pragma once

#include <llvm/IR/Function.h>

namespace compute::host {

/// Cuts blocks into pieces that are quick to compile and still long enough to be compiled well.
void splitBlocks(llvm::Function& function);

} // namespace compute::host
