// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Reads the code that machine code is about to be made of and refuses what could reach other memory
// than the kernel's: changes nothing, and trusts neither the passes before it nor the vectoriser.
#pragma once

#include "platform/base/Result.h"

#include <llvm/IR/Module.h>

namespace compute::kernel {

/// Every access is confined (AddressRanges.h); branches and calls have one fixed destination each;
/// globals are constants; nothing touches memory in a way that is not known.
platform::Result<void> verifyAccesses(llvm::Module& module);

} // namespace compute::kernel
