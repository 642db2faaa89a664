// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The lock-down of the service. Afterwards the process can compute, use memory and threads, and
// talk over the socket that it has; it can open nothing, reach no other process, start no program,
// make nothing executable and gain no rights. What the attacks are, and that they fail, is in
// Attacks.h.
#pragma once

#include "compute/service/SystemCalls.h"

namespace compute::service {

/// Makes the process end together with its console and closes every descriptor that it was not
/// meant to have. The first thing that the service does.
platform::Result<void> detachFromSurroundings();

/// Whether lockDown() limits the memory of the process: not where tools that look for faults map
/// far more than they use.
bool limitsMemory();

/// Locks all threads of the process down, for good.
platform::Result<void> lockDown(const Privileged& privileged);

} // namespace compute::service
