// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Reads the code right before code generation and refuses what could reach other memory than the
// kernel's. Changes nothing, and trusts neither the passes before it nor the vectoriser.
#pragma once

#include "platform/base/Result.h"

#include <llvm/IR/Module.h>

namespace compute::kernel {

/// Succeeds when every access is confined (AddressRanges.h), branches and calls have one fixed
/// destination each, globals are constants, and no other instruction can touch memory. The error
/// shows the instruction at fault.
platform::Result<void> verifyAccesses(llvm::Module& module);

} // namespace compute::kernel
