// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The function that devices start: finds out which thread this is and, if it lies in the grid, runs
// the kernel, which becomes part of it. ShaderInterface.h says how threads are counted. Comes after
// lowerPointers(), when nothing of the kernel's first two parameters is left.
#pragma once

#include "compute/spirv/passes/Lowering.h"

namespace compute::spirv {

inline constexpr llvm::StringLiteral entrySymbol = "main";

/// Lowering::kernel is that function afterwards. Never fails.
platform::Result<void> addEntryPoint(Lowering& lowering);

} // namespace compute::spirv
