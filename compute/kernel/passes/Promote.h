// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The optimisation proper: memory to registers, common expressions, loops. LLVM's own passes,
// chosen for what they bring to inlined kernels in a few milliseconds; inter-procedural passes have
// nothing to do here. Everything undefined must be gone before.
#pragma once

#include "compute/kernel/Pass.h"

namespace compute::kernel {

/// Optimises one function on its own.
void optimise(llvm::Function& function, Analyses& analyses);

/// Optimises what is left of the program, callees before their callers.
platform::Result<void> promote(PassContext& context);

} // namespace compute::kernel
