// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Tells which pass broke a module, where it happened and not where something stumbles over it
// later.
#pragma once

#include "compute/kernel/CompilerOptions.h"

#include <llvm/IR/Module.h>

#include <string_view>

namespace compute::kernel {

/// Where the options ask for it, the error names the pass and says what is wrong with the module
/// that it left.
platform::Result<void> verifyAfter(std::string_view pass, const llvm::Module& module,
                                   const CompilerOptions& options);

} // namespace compute::kernel
