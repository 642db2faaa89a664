// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Tries to break out: locks the process down as a service does, then does what hostile code would.
#pragma once

#include "compute/service/Compiler.h"

#include <string_view>

namespace compute::service {

/// Prints a line per attempt to standard error, "denied: WHAT (REASON)" or "POSSIBLE: WHAT", and
/// "works: WHAT" or "BROKEN: WHAT" for what a service must still be able to do; and at last
/// "sandbox: N of N attempts denied; namespaces NAMES; Landlock VERSION". Returns the exit status
/// of the process: 0 when all is as it should be. With `device`, as a service whose kernels run on
/// that one; empty for the processor.
int probe(Compiler& compiler, std::string_view device);

} // namespace compute::service
