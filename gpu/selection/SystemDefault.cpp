// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "gpu/Device.h"

#include "gpu/host/HostDevice.h"
#include "gpu/host/SelfTest.h"
#include "gpu/host/ServiceProcess.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string>

namespace gpu {

namespace {
constexpr const char* choices = "host, auto, vulkan or vulkan:NAME";
constexpr std::string_view byName = "vulkan:";
} // namespace

std::shared_ptr<Device> Device::systemDefault(std::string_view remembered) {
    const char* variable = std::getenv("SL42_DEVICE");
    const bool isSet = variable != nullptr && *variable != '\0';
    const std::string choice(isSet ? variable : isChoice(remembered) ? remembered : "host");
    if (!isChoice(choice)) {
        std::fprintf(stderr, "SL42_DEVICE names no device: '%s'; choose %s\n", variable, choices);
        return nullptr;
    }
    return host::HostDevice::create(host::ServiceProcess::findExecutable(), choice);
}

bool Device::isChoice(std::string_view choice) {
    return choice == "host" || choice == "auto" || choice == "vulkan" ||
           (choice.starts_with(byName) && choice.size() > byName.size());
}

std::vector<DeviceDescription> Device::list() {
    DeviceDescription processor;
    processor.choice = "host";
    processor.name = host::HostDevice::processorName();
    processor.kind = "processor";
    std::vector<DeviceDescription> devices = {std::move(processor)};
    const auto answer = host::askService(host::ServiceProcess::findExecutable(), {"--devices"});
    std::istringstream lines(answer ? answer->text : "");
    for (std::string line; std::getline(lines, line);) {
        // Drivers say things, too.
        if (std::ranges::count(line, '\t') != 4)
            continue;
        std::istringstream fields(line);
        DeviceDescription device;
        for (std::string* field :
             {&device.name, &device.kind, &device.driver, &device.limits, &device.unusable})
            std::getline(fields, *field, '\t');
        device.choice = std::string(byName) + device.name;
        devices.push_back(std::move(device));
    }
    return devices;
}

std::string Device::describeSandbox() {
    const auto tested = host::testSandbox(host::ServiceProcess::findExecutable());
    if (!tested)
        return "sandbox: " + tested.error().message;
    const std::string summary = tested->summary.empty() ? "sandbox: no answer" : tested->summary;
    return tested->isTight ? summary : summary + " -- NOT AS IT SHOULD BE";
}

} // namespace gpu
