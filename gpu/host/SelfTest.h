// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Has the service try to break out, on this machine and started as it always is.
#pragma once

#include "platform/base/Result.h"

#include <string>
#include <vector>

namespace gpu::host {

struct SandboxTest {
    bool isTight = false; ///< every attempt failed, and what has to work did
    std::string report;   ///< a line for each attempt
    std::string summary;  ///< the last of them
};

/// What the service answers to `arguments`, on which it does that and ends. Waits for some seconds
/// at most.
struct Answer {
    std::string text;
    bool succeeded = false;
};
platform::Result<Answer> askService(const std::string& executable,
                                    std::vector<std::string> arguments);

/// Takes some ten milliseconds, longer for a device other than the processor. The error says why
/// the service could not be asked.
platform::Result<SandboxTest> testSandbox(const std::string& executable,
                                          const std::string& device = "");

} // namespace gpu::host
