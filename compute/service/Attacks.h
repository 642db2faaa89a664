// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What hostile code that has taken the service over would do, as far as one knows. Each attack is
// carried out for good: against a process, memory and descriptors that are there to be harmed.
#pragma once

#include "compute/service/Isolation.h"
#include "compute/service/Target.h"

#include <cerrno>
#include <span>
#include <string_view>

namespace compute::service {

struct Attack {
    std::string_view what;
    /// Negative when it failed, as system calls do, with the reason in `errno`.
    long (*perform)(const Target& target);
    /// Anything else would mean that the attempt got as far as being tried.
    int expected = EPERM;
    /// A driver that makes machine code for the processor must be able to do so.
    bool isSoftwareDrivers = false;
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
