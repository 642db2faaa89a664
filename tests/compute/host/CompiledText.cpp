// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "tests/compute/host/CompiledText.h"

#include "compute/host/HostBackend.h"
#include "compute/host/HostKernel.h"

#include <gtest/gtest.h>

namespace tests {

using namespace compute;

std::shared_ptr<Kernel> compile(const kernel::Program& program, const ConstantValues& values,
                                const kernel::CompilerOptions& options) {
    static const bool isWarm = (host::warmUp(hostTarget()), true);
    (void)isWarm;
    kernel::CompilerOptions atWidth = options;
    atWidth.lanes = kernel::CompilerOptions::fromEnvironment()->lanes;
    auto made = host::HostBackend(atWidth).build(program, "k", values);
    if (!made) {
        ADD_FAILURE() << made.error().message;
        return nullptr;
    }
    return *made;
}

} // namespace tests
