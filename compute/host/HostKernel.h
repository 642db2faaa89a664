// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The host back end: kernels as machine code of this processor, which run a grid on all cores.
#pragma once

#include "compute/backend/Kernel.h"
#include "compute/kernel/pipeline/Canonical.h"
#include "compute/target/HostTarget.h"
#include "platform/base/Result.h"

#include <memory>

namespace compute::host {

/// Generates machine code for `target`, for which the kernel has been made canonical; the kernel
/// spreads its grid over all cores in tiles. Several threads may do so at the same time. The tile
/// function and its assembly go to `dump` unless that is null.
platform::Result<std::shared_ptr<Kernel>> generate(kernel::CanonicalKernel kernel,
                                                   const target::HostTarget& target,
                                                   const kernel::CompilerOptions& options = {},
                                                   const kernel::Dump* dump = nullptr);

/// Starts the worker threads and has the code generator ready; called once before the service locks
/// itself down.
void warmUp(const target::HostTarget& target);

} // namespace compute::host
