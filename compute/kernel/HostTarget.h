// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// This machine's processor as the code generator sees it. Optimisation and code generation ask the
// same description, so that what one finds cheap is cheap for the other.
#pragma once

#include <llvm/Target/TargetMachine.h>

#include <memory>

namespace compute::kernel {

/// Registers the code generator; once, before anything else here is used.
void initialiseHostTarget();

/// The best level of this processor. Never null. Not shared between threads: make one per job.
std::unique_ptr<llvm::TargetMachine> makeHostTargetMachine();

} // namespace compute::kernel
