// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What a shared function is passed although all its calls agree on it, or nobody looks at it.
#pragma once

#include <llvm/IR/Function.h>

namespace compute::kernel {

/// Takes parameters away that nobody uses, or for which all calls pass the same constant or the
/// same as for another one. Integers that all calls convert to floating point are converted in the
/// function, which can conclude from that. Returns the function that takes its place.
llvm::Function* eliminateArguments(llvm::Function& function);

} // namespace compute::kernel
