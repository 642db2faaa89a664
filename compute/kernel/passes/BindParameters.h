// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Gives every kernel the same signature, that of KernelSignature.h. A back end then knows how to
// call any of them, and the kernel's own parameters are ordinary values inside.
#pragma once

#include "compute/kernel/Pass.h"

namespace compute::kernel {

/// Adds the canonical function, which reads the bindings, computes the thread attributes and calls
/// the kernel. Comes before adoptTarget(), which drops the attributes of the kernel's parameters:
/// they tell the size of what a reference refers to. Fails for indices without a slot
/// and parameters of another type than the front end announced.
platform::Result<void> bindParameters(PassContext& context);

} // namespace compute::kernel
