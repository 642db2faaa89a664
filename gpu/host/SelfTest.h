// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Has the service try to break out, on this machine and started as it always is.
#pragma once

#include "platform/base/Result.h"

#include <string>

namespace gpu::host {

struct SandboxTest {
    bool isTight = false; ///< every attempt failed, and what has to work did
    std::string report;   ///< a line for each attempt
    std::string summary;  ///< the last of them
};

/// Takes some ten milliseconds. The error says why the service could not be asked.
platform::Result<SandboxTest> testSandbox(const std::string& executable);

} // namespace gpu::host
