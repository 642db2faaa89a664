// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The list of system calls that the service may make once it is locked down, and with which
// arguments. It stands alone: whatever else the system grants, nothing rests on it.
#pragma once

#include "compute/backend/Device.h"
#include "platform/base/Result.h"

namespace compute::service {

/// Descriptors that the process has when it locks itself down and may use for more than the rest;
/// -1 for none.
struct Privileged {
    /// Writes into the memory that machine code lies in.
    int codeWriter = -1;
    /// A folder in which files can be made or replaced, but not read.
    int dumpFolder = -1;
    Driver driver = Driver::None;
};

/// Descriptors that the process gets from then on have lower numbers, and those that Privileged
/// names for code higher ones. So the filter can tell them apart.
inline constexpr unsigned descriptorLimit = 32;

/// Applies to all threads and to those that they will start, for good. Sets no_new_privs, too.
platform::Result<void> filterSystemCalls(const Privileged& privileged);

} // namespace compute::service
