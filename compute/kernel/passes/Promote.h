// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The optimisation proper: memory to registers, common expressions, loops. LLVM's own passes,
// chosen for what they bring to inlined kernels in a few milliseconds; inter-procedural passes have
// nothing to do here. Comes after the passes that define the undefined, of which these make use.
#pragma once

#include "compute/kernel/Pass.h"

namespace compute::kernel {

/// Optimises one function on its own.
void optimise(llvm::Function& function, Analyses& analyses);

/// Optimises all functions of the context, callees before their callers. Never fails.
platform::Result<void> promote(PassContext& context);

} // namespace compute::kernel
