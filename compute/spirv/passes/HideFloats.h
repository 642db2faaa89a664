// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The bits of a floating-point number that an atomic operation adds, compares or combines go
// through an operation on integers, which no driver can see to change nothing. Mesa's software
// driver (llvmpipe, seen with 22.3) forgets that they are to be taken as an integer, makes an
// addition of floating-point numbers of it that no processor has, and ends the process. Elsewhere
// it costs an operation of each thread, and two that are the same for all.
#pragma once

#include "compute/spirv/passes/Lowering.h"

namespace compute::spirv {

/// Never fails.
platform::Result<void> hideFloats(Lowering& lowering);

} // namespace compute::spirv
