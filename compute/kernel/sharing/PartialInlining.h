// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Functions that begin by asking whether there is anything to do for this thread, such as whether
// its pixel is inside the text that is drawn. Nearly always there is not. So the question is best
// copied to each call, and what follows it called.
#pragma once

#include <llvm/ADT/STLFunctionalExtras.h>
#include <llvm/IR/Function.h>

namespace compute::kernel {

/// Moves what follows the first questions of the function into one of its own, which it then calls.
/// Null, with nothing changed, when the function does not begin in that way. It must have been
/// reduced, and return nothing. `sizeOf` tells the instructions of a function with all that it
/// calls.
llvm::Function* splitGuards(llvm::Function& function,
                            llvm::function_ref<double(llvm::Function&)> sizeOf);

} // namespace compute::kernel
