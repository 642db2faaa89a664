// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The table of passes that turn a kernel into its canonical form. It alone decides their order and
// names the dumps, and tests find the pass that they run in it.
#pragma once

#include "compute/kernel/Pass.h"

#include <span>

namespace compute::kernel {

/// In the order in which they run.
std::span<const Pass> passes();

} // namespace compute::kernel
