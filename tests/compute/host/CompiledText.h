// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// From intermediate code as text to a kernel that runs.
#pragma once

#include "compute/backend/Kernel.h"
#include "tests/compute/kernel/ProgramText.h"

#include <span>

namespace tests {

/// A program's text without its first two lines, through the front end. Throws its message when
/// there is no program.
compute::kernel::Program programOf(const std::string& text);

/// The kernel `k` of a program as machine code; null, with a failed expectation, when it does not
/// compile.
std::shared_ptr<compute::Kernel> compile(const compute::kernel::Program& program,
                                         const compute::ConstantValues& values = {},
                                         const compute::kernel::CompilerOptions& options = {});

/// Bindings with the given arrays as buffers 0, 1, ...
template <class... T>
compute::Bindings bind(std::vector<T>&... buffers) {
    compute::Bindings bindings;
    std::size_t index = 0;
    ((bindings.buffers[index++] = reinterpret_cast<std::byte*>(buffers.data())), ...);
    return bindings;
}

} // namespace tests
