// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Instruction selection and scheduling work on one block at a time and take more than linear time,
// while a long kernel without branches is a single block.
#pragma once

#include <llvm/IR/Function.h>

namespace compute::host {

/// Splits long blocks into pieces that compile quickly and are still long enough to be optimised
/// well.
void splitBlocks(llvm::Function& function);

} // namespace compute::host
