// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Dead argument elimination: shared functions are not passed what all their calls agree on, or what
// they do not use. Callers come before their callees, because what a caller passes is only known
// once its own arguments are.
#pragma once

#include "compute/kernel/Pass.h"

namespace compute::kernel {

/// Takes away the parameters of shared functions that nothing uses, or for which all calls pass the
/// same constant or the same as for another one. Integers that all calls convert to floating point
/// are converted in the function, which can conclude from that. The functions have the attributes
/// of the kernel afterwards and are complete. Never fails.
platform::Result<void> eliminateArguments(PassContext& context);

} // namespace compute::kernel
