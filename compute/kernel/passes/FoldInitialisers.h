// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Evaluates the initialisers of variables that the front end could not, `constant float k = sin(1)`
// for one. A kernel has no moment at which they could run. Comes after inlining, which leaves
// straight code that can be evaluated, and before optimisation, which uses the values.
#pragma once

#include "compute/kernel/Pass.h"

namespace compute::kernel {

/// The functions that the module lists as to be run first. Each calls the initialisers of one text.
std::vector<llvm::Function*> listedInitialisers(llvm::Module& module);

/// The functions that give variables their values before anything runs, in the order in which they
/// do; one function a variable.
std::vector<llvm::Function*> initialiserFunctions(llvm::Module& module);

/// Fails, naming the variable, when an initialiser is not a constant expression. Afterwards nothing
/// but the canonical function and what it calls is defined, and all variables are constants.
platform::Result<void> foldInitialisers(PassContext& context);

} // namespace compute::kernel
