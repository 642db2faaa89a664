// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Makes one function of a kernel and everything that it calls, but for what a large kernel shares.
// The passes after it can then follow every pointer back to its variable.
#pragma once

#include "compute/kernel/Pass.h"

namespace compute::kernel {

/// Flattens the canonical function and the initialisers of variables (Inliner.h), and clears the
/// variables that are left in them. Comes after promoteArguments(), which makes the shared
/// functions.
platform::Result<void> inlineCalls(PassContext& context);

} // namespace compute::kernel
