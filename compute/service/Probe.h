// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Tries to break out: locks the process down as a service does, then does what hostile code would.
#pragma once

namespace compute::service {

/// Prints a line per attempt to standard error, "denied: WHAT (REASON)" or "POSSIBLE: WHAT", and
/// "works: WHAT" or "BROKEN: WHAT" for what a service must still be able to do; and at last
/// "sandbox: N of N attempts denied; namespaces NAMES; Landlock VERSION". Returns the exit status
/// of the process: 0 when all is as it should be.
int probe();

} // namespace compute::service
