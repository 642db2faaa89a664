// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Moves a module from the neutral target that the front end writes for to this machine, and forgets
// every promise that a program from anywhere cannot be trusted to keep: that a pointer is aligned
// or not null, that types do not alias, that arithmetic does not wrap, that loops finish. Runs
// before any optimisation could act on such a promise.
#pragma once

#include "compute/kernel/Pass.h"

namespace compute::kernel {

/// Never fails.
platform::Result<void> adoptTarget(PassContext& context);

} // namespace compute::kernel
