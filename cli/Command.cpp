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

platform::Log::Sink Session::listener() const {
    if (isVerbose)
        return [](std::string_view line) { std::cerr << line << std::endl; };
    return [isSaid = false](std::string_view line) mutable {
        if (isSaid || !line.starts_with("Font "))
            return;
        isSaid = true;
        warn(std::string(line));
    };
}

ExitStatus fail(const std::string& message) {
    std::cerr << "starloom: " << message << std::endl;
    return ExitStatus::Failure;
}

void warn(const std::string& message) {
    std::cerr << "starloom: warning: " << message << std::endl;
}

ExitStatus
interruptible(const std::function<platform::Result<void>(const platform::Interruption&)>& work) {
    const platform::Interruption interruption;
    const auto done = work(interruption);
    if (done)
        return ExitStatus::Success;
    if (interruption.requested())
        interruption.endProgram();
    return fail(done.error().message);
}

} // namespace cli
