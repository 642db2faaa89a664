// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Which functions of a program call which: what the inliner and the vectoriser walk over.
#pragma once

#include <llvm/IR/Function.h>
#include <llvm/IR/InstrTypes.h>

namespace compute::kernel {

/// Whether it calls a function of the program, as opposed to an intrinsic.
bool isCallOfProgram(const llvm::CallBase& call);

} // namespace compute::kernel
