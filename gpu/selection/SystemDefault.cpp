// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "gpu/Device.h"

#include "gpu/host/HostDevice.h"
#include "gpu/host/SelfTest.h"
#include "gpu/host/ServiceProcess.h"

#include <cstdio>
#include <cstdlib>
#include <string_view>

namespace gpu {

std::shared_ptr<Device> Device::systemDefault() {
    const char* variable = std::getenv("SL42_DEVICE");
    const std::string_view choice = variable != nullptr ? variable : "";
    if (choice.empty() || choice == "host")
        return host::HostDevice::create();
    std::fprintf(stderr, "SL42_DEVICE names no device: '%s'; choose host\n", variable);
    return nullptr;
}

std::string Device::describeSandbox() {
    const auto tested = host::testSandbox(host::ServiceProcess::findExecutable());
    if (!tested)
        return "sandbox: " + tested.error().message;
    const std::string summary = tested->summary.empty() ? "sandbox: no answer" : tested->summary;
    return tested->isTight ? summary : summary + " -- NOT AS IT SHOULD BE";
}

} // namespace gpu
