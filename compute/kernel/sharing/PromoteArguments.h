// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Turns a function that gets and returns its values through private memory into one that is passed
// them. Only then can several threads run it as one: a vector can be passed, the address of one
// thread's variable cannot.
#pragma once

#include "compute/kernel/sharing/PrivatePointers.h"

namespace compute::kernel {

/// Replaces the function and all its calls. It must have been flattened, and `pointers` asked
/// before. Null, with nothing changed, when it passes too much or something that has no single
/// type.
llvm::Function* promoteArguments(llvm::Function& function, PrivatePointers& pointers);

} // namespace compute::kernel
