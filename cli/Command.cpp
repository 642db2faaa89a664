// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "cli/Command.h"

#include "gpu/Device.h"

#include <cstdlib>
#include <iostream>

namespace cli {

std::shared_ptr<gpu::Device> Session::openDevice() const {
    if (!deviceName.empty())
        ::setenv("SL42_DEVICE", deviceName.c_str(), 1);
    return gpu::Device::systemDefault();
}

ExitStatus fail(const std::string& message) {
    std::cerr << "starloom: " << message << std::endl;
    return ExitStatus::Failure;
}

} // namespace cli
