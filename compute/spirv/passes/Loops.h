// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What the passes that change loops have in common.
#pragma once

#include "compute/spirv/passes/Lowering.h"

#include <llvm/Analysis/LoopInfo.h>

namespace compute::spirv {

/// Visits the loops of all functions, in LCSSA form, each before those in it. The visitor may
/// change branches and add blocks, which it tells `loops` of.
void forEachLoop(Lowering& lowering,
                 llvm::function_ref<void(llvm::Loop& loop, llvm::LoopInfo& loops)> visit);

/// Whether some instruction in the loop is so.
bool hasAny(const llvm::Loop& loop, bool (llvm::Instruction::*property)() const);

/// Whether a loop reads memory. Values of such loops get lost in more ways than ReloadBehindLoops.h
/// knows when they are left in several places, or before their latch.
bool readsMemory(const llvm::Loop& loop);

} // namespace compute::spirv
