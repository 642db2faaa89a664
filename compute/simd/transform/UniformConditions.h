// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Conditions with uniform and divergent terms, such as "this row of pixels is inside the text, and
// so is this pixel of it". The uniform terms mostly decide, by a uniform branch, and the divergent
// ones need not be computed then.
#pragma once

#include "compute/simd/analysis/Uniformity.h"

#include <llvm/Analysis/LoopInfo.h>
#include <llvm/IR/Dominators.h>

namespace compute::simd {

/// Splits a divergent branch whose condition has uniform terms in two: a uniform branch on those
/// terms and, behind it, a divergent one on the others, together with what only they need. Does so
/// where one successor post-dominates the branch, so that the uniform branch skips the other.
/// Returns whether the kernel was changed; the analyses do not know its new blocks.
bool splitUniformConditions(llvm::Function& kernel, const Uniformity& uniformity,
                            const llvm::DominatorTree& dominators, const llvm::LoopInfo& loops);

} // namespace compute::simd
