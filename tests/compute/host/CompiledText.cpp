// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "tests/compute/host/CompiledText.h"

#include <gtest/gtest.h>

namespace tests {

using namespace compute;

std::shared_ptr<host::HostKernel> compile(const kernel::Program& program,
                                          const kernel::ConstantValues& values) {
    static const bool isWarm = (host::warmUp(), true);
    (void)isWarm;
    auto canonical = kernel::canonicalise(program, "k", values);
    if (!canonical) {
        ADD_FAILURE() << canonical.error().message;
        return nullptr;
    }
    auto made = host::generate(std::move(*canonical));
    if (!made) {
        ADD_FAILURE() << made.error().message;
        return nullptr;
    }
    return *made;
}

} // namespace tests
