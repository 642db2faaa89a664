// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// LLVM calculates with as many bits as it takes: the sum of the numbers below n with 33, a choice
// of eight with 3. Devices have integers of 8, 16, 32 and 64 bits; the others become the next of
// these, with zeros above.
#pragma once

#include "compute/spirv/passes/Lowering.h"

namespace compute::spirv {

/// Fails for integers of more than 64 bits.
platform::Result<void> widenIntegers(Lowering& lowering);

} // namespace compute::spirv
