// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The compute service: a child of the console that compiles and runs what strangers wrote.
#include "compute/service/KernelCompiler.h"
#include "compute/service/Run.h"
#include "compute/vulkan/DeviceList.h"

#include <cstdio>
#include <string_view>

int main(int argumentCount, char** arguments) {
    if (argumentCount == 2 && std::string_view(arguments[1]) == "--devices") {
        std::fputs(compute::vulkan::listDevices().c_str(), stderr); // as all that it has to say
        return 0;
    }
    auto options = compute::kernel::CompilerOptions::fromEnvironment();
    if (!options) {
        std::fprintf(stderr, "%s\n", options.error().message.c_str());
        options = compute::kernel::CompilerOptions{};
    }
    compute::service::KernelCompiler compiler(*options);
    return compute::service::run(argumentCount, arguments, compiler);
}
