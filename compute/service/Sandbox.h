// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The lock-down of the service. Afterwards the process can compute, use memory and threads, and
// talk over the socket that it has; it can open nothing, reach no other process, start no program
// and gain no rights. What the attacks are, and that they fail, is in Probe.h.
#pragma once

#include "platform/base/Result.h"

namespace compute::service {

/// Makes the process end together with its console and closes every descriptor that it was not
/// meant to have. The first thing that the service does.
platform::Result<void> detachFromSurroundings();

/// Locks all threads of the process down, for good. Files can still be made or replaced, but not
/// read, through `dumpFolder`, the descriptor of a folder; -1 for none.
platform::Result<void> lockDown(int dumpFolder);

} // namespace compute::service
