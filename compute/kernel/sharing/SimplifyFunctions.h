// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Simplifies every function before any is copied. Callers come first, so that what a caller knows
// (a function constant, a sampler) is known in its callees, and calls in dead branches are gone.
#pragma once

#include "compute/kernel/Pass.h"

namespace compute::kernel {

/// Propagates constant arguments from callers to callees and simplifies each function with them.
/// Deletes the bodies of functions that are no longer called. One pass rather than two, because a
/// caller has to be simplified before it shows which arguments are constants. Never fails.
platform::Result<void> simplifyFunctions(PassContext& context);

} // namespace compute::kernel
