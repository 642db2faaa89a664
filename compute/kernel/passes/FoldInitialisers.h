// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Evaluates the initialisers of variables that the front end could not evaluate, for instance
// `constant float k = sin(1)`, since nothing runs before a kernel. Comes after inlining, which
// leaves code without calls that can be evaluated, and before optimisation, which uses the values.
#pragma once

#include "compute/kernel/Pass.h"

namespace compute::kernel {

/// The global constructors of the module, of which each calls the initialisers of one text.
std::vector<llvm::Function*> listedInitialisers(llvm::Module& module);

/// The functions that they call, in that order; each initialises one variable.
std::vector<llvm::Function*> initialiserFunctions(llvm::Module& module);

/// The functions that the module is for and nobody calls: the initialisers and the canonical one.
std::vector<llvm::Function*> rootFunctions(const PassContext& context);

/// Fails, naming the variable, when an initialiser is not a constant expression. Afterwards nothing
/// but the canonical function and what it calls is defined, and all variables are constants.
platform::Result<void> foldInitialisers(PassContext& context);

} // namespace compute::kernel
