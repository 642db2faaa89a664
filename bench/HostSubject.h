// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A kernel of this folder on the host back end, in this process.
#pragma once

#include "bench/Harness.h"
#include "compute/host/HostBackend.h"

namespace bench {

platform::Result<std::unique_ptr<Subject>>
makeHostSubject(const BenchKernel& kernel, const compute::host::HostBackend& backend);

} // namespace bench
