// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The shape of control flow that SPIR-V demands. Afterwards, in every function:
//
// - a loop has one header, of phis and a branch; one block that jumps back and does nothing
//   else; one block where it ends, which is that or the one before; and one behind, to which
//   nothing else leads;
// - any other conditional branch has one block where its ways meet (Lowering::joins), which no
//   other branch and no loop has; until there, nothing leads into them from elsewhere.
//
// Control flow that has this shape but for empty blocks stays as it is. The rest goes through
// LLVM's StructurizeCFG, which turns jumps into conditions.
#pragma once

#include "compute/spirv/passes/Lowering.h"

namespace compute::spirv {

platform::Result<void> structurise(Lowering& lowering);

} // namespace compute::spirv
