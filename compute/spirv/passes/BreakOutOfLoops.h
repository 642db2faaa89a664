// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Loops that end in several places have one end and a flag when their control flow is structured.
// Where a way through the body sets the flag and does nothing more, it leaves the loop at once
// here, as `break` does. SPIR-V allows that anywhere in a loop. Loops that read memory keep their
// flag, see ReloadBehindLoops.h.
#pragma once

#include "compute/spirv/passes/Lowering.h"

namespace compute::spirv {

platform::Result<void> breakOutOfLoops(Lowering& lowering);

} // namespace compute::spirv
