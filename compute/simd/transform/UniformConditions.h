// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Conditions of which a part is the same for all threads that ask together: whether this row of
// pixels, and whether this pixel of it, is inside the text. When the common part has decided, which
// it mostly does, nobody needs to ask the rest.
#pragma once

#include "compute/simd/analysis/Uniformity.h"

#include <llvm/Analysis/LoopInfo.h>
#include <llvm/IR/Dominators.h>

namespace compute::simd {

/// Gives the common part of a condition a branch of its own, before the rest is computed, where
/// that can spare all threads what the branch leads to. Returns whether the kernel was changed; the
/// analyses do not know about its new blocks.
bool splitUniformConditions(llvm::Function& kernel, const Uniformity& uniformity,
                            const llvm::DominatorTree& dominators, const llvm::LoopInfo& loops);

} // namespace compute::simd
