// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Live-range splitting ahead of register allocation. A long kernel has far more long-lived values
// than the processor has registers: hoisted values, and everything that is computed once for many
// uses. The register allocator would spill nearly all of them in the end, but would first search
// all blocks of each live range for a better place, which takes quadratic time.
#pragma once

#include <llvm/IR/Function.h>

namespace compute::host {

/// Spills values that are live through many blocks and reloads them where they are used, if there
/// are too many of them for registers anyway. Loads of hoisted values are rematerialised instead.
/// The thresholds assume blocks no longer than splitBlocks() makes them.
void splitLiveRanges(llvm::Function& function);

} // namespace compute::host
