// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// `starloom devices`: what programs can run on, on standard output.
#include "cli/Command.h"
#include "cli/Subcommand.h"
#include "gpu/Device.h"

#include <iostream>

namespace cli {

namespace {

void print(const gpu::DeviceDescription& device) {
    std::cout << device.name << "\n  " << device.kind << ", --device '" << device.choice << "'\n";
    if (!device.driver.empty())
        std::cout << "  " << device.driver << "\n  " << device.limits << '\n';
    if (!device.unusable.empty())
        std::cout << "  cannot be used: " << device.unusable << '\n';
}

} // namespace

void addDevices(CLI::App& app, Session&) {
    Subcommand(app, "devices", "List what programs can run on").run([] {
        for (const gpu::DeviceDescription& device : gpu::Device::list())
            print(device);
    });
}

} // namespace cli
