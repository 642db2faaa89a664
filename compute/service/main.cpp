// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The compute service: a child of the console that compiles and runs what strangers wrote.
#include "compute/service/KernelCompiler.h"
#include "compute/service/Run.h"

#include <cstdio>

int main(int argumentCount, char** arguments) {
    auto options = compute::kernel::CompilerOptions::fromEnvironment();
    if (!options) {
        std::fprintf(stderr, "%s\n", options.error().message.c_str());
        options = compute::kernel::CompilerOptions{};
    }
    compute::service::KernelCompiler compiler(*std::move(options));
    return compute::service::run(argumentCount, arguments, compiler);
}
