// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Something that attacks can harm.
#pragma once

#include "platform/base/Result.h"

#include <sys/types.h>

namespace compute::service {

/// Made before the lock-down, for attacks that need something to start from.
struct Target {
    static platform::Result<Target> create();

    int memory = -1;        ///< a memory object, as buffers are
    void* buffer = nullptr; ///< a page of it, mapped as buffers are
    void* page = nullptr;   ///< a page of this process
    int socket = -1;        ///< one that is not the service's
    int folder = -1;        ///< as when intermediate code is dumped
    int codeWriter = -1;    ///< of the memory for machine code,
    void* code = nullptr;   ///< which is mapped here
    pid_t victim = -1;      ///< another process of the same user
    int victimHandle = -1;  ///< a pidfd of it
    pid_t parent = -1;      ///< 0 in a namespace where it cannot be named
    const char* file = "/etc/passwd";
};

} // namespace compute::service
