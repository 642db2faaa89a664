// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A kernel of this folder on a device of the console's, through the service.
#pragma once

#include "bench/Harness.h"
#include "gpu/Device.h"

namespace bench {

/// The device must outlive it.
platform::Result<std::unique_ptr<Subject>> makeDeviceSubject(const BenchKernel& kernel,
                                                             gpu::Device& device);

} // namespace bench
