// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Which functions of a kernel are better called than copied to each of their calls. Copies make
// the fastest code: they are specialised, and what does not depend on the thread moves out of the
// loop over threads. But a program of a thousand lines that draw would be a hundred thousand
// instructions, and nobody would see it run before they had forgotten what they changed. So a
// kernel that grows too large shares the functions of which it has the most copies. Of functions
// that first ask whether there is anything to do, the rest is shared much sooner
// (PartialInlining.h).
#pragma once

#include "compute/kernel/Pass.h"
#include "compute/kernel/sharing/PrivatePointers.h"

namespace compute::kernel {

/// Functions that promoteArguments() should take, callees before their callers; none when the
/// kernel stays small without. What the initialisers of variables call is not among them.
std::vector<llvm::Function*> chooseShared(PassContext& context, PrivatePointers& pointers);

} // namespace compute::kernel
