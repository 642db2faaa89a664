// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// LLVM tests at the end of an iteration whether there is another one. A loop that ends elsewhere,
// too, is tested at the beginning again, as `for` has it: the values behind it are then the same
// wherever it ends, those that the iteration began with. Otherwise every way out copies them, which
// costs Mesa's software driver a tenth of a short loop.
#pragma once

#include "compute/spirv/passes/Lowering.h"

namespace compute::spirv {

platform::Result<void> testLoopsFirst(Lowering& lowering);

} // namespace compute::spirv
