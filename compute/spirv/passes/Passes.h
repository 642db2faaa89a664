// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The table of passes from the canonical kernel to code of which each instruction has its
// counterpart in SPIR-V. It alone decides their order and names the dumps.
#pragma once

#include "compute/spirv/passes/Lowering.h"

#include <span>

namespace compute::spirv {

/// In the order in which they run.
std::span<const ShaderPass> passes();

} // namespace compute::spirv
