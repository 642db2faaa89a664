// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Starting the service's program as a process that shares as little as possible with this one.
#pragma once

#include "platform/base/Result.h"

#include <string>
#include <sys/types.h>
#include <vector>

namespace gpu::host {

struct Launch {
    std::string executable;
    std::vector<std::string> arguments; ///< after the program's name
    /// They become the descriptors from standard error on, in this order.
    std::vector<int> descriptors;
    bool mayIsolate = true; ///< in namespaces, where the system grants them
};

/// The child has its own process group (so that a Ctrl-C meant for the console does not end it),
/// default signals, no descriptors but those given, and of the environment only its settings and
/// where its libraries are. In a process namespace of its own it can name no other process; this
/// side knows it by the number returned.
platform::Result<pid_t> launch(const Launch& launch);

} // namespace gpu::host
