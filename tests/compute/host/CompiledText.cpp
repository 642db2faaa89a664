// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "tests/compute/host/CompiledText.h"

#include "compute/host/HostBackend.h"
#include "compute/host/HostKernel.h"
#include "compute/metal/Frontend.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace tests {

using namespace compute;

kernel::Program programOf(const std::string& text) {
    auto program = metal::compile("#include <metal_stdlib>\nusing namespace metal;\n" + text);
    if (!program)
        throw std::runtime_error(program.error().message);
    return *std::move(program);
}

std::shared_ptr<Kernel> compile(const kernel::Program& program, const ConstantValues& values,
                                const kernel::CompilerOptions& options) {
    static const bool isWarm = (host::warmUp(hostTarget()), true);
    (void)isWarm;
    kernel::CompilerOptions atWidth = *kernel::CompilerOptions::fromEnvironment();
    atWidth.shareAbove = options.shareAbove;
    auto made = host::HostBackend(atWidth).build(program, "k", values);
    if (!made) {
        ADD_FAILURE() << made.error().message;
        return nullptr;
    }
    return *made;
}

} // namespace tests
