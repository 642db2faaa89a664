// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What hostile code that has taken the service over would do, as far as one knows. Each attack is
// carried out for good: against a process, memory and descriptors that are there to be harmed.
#pragma once

#include "compute/service/Isolation.h"
#include "platform/base/Result.h"

#include <cerrno>
#include <cstddef>
#include <span>
#include <string_view>
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

struct Attack {
    std::string_view what;
    /// Negative when it failed, as system calls do, with the reason in `errno`.
    long (*perform)(const Target& target);
    /// Anything else would mean that the attempt got as far as being tried.
    int expected = EPERM;
};

/// For a process that is locked down.
std::span<const Attack> attacks();

/// For one that is not yet, where the system has granted what stands against it.
struct IsolationAttack {
    std::string_view what;
    bool (*isExpectedToFail)(const Isolation& isolation);
    long (*perform)(const Target& target);
};
std::span<const IsolationAttack> isolationAttacks();

/// What the service must still be able to do.
std::span<const Attack> necessities();

} // namespace compute::service
