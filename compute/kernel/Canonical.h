// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The kernel pipeline: from a program and a kernel's name to one canonical function that both the
// host back end and the SPIR-V back end start from.
#pragma once

#include "compute/kernel/Program.h"
#include "platform/base/Result.h"

#include <string>
#include <string_view>
#include <vector>

namespace compute::kernel {

/// One kernel on its own, specialised, inlined and made safe. The module holds a single defined
/// function `symbol` whose signature is described in compute/README.md, plus its constant globals.
struct CanonicalKernel {
    std::unique_ptr<llvm::LLVMContext> context;
    std::unique_ptr<llvm::Module> module;
    std::string name; ///< as the program spells it
    std::string symbol;
    std::vector<Parameter> parameters;
    double optimiserMilliseconds = 0;
};

/// Checks that `name` exists and that every constant which the program declares without a default
/// has a value of its declared type, without compiling anything.
platform::Result<void> checkFunction(const Program& program, std::string_view name,
                                     const ConstantValues& constants);

/// Runs the pipeline on a copy of the program's module.
platform::Result<CanonicalKernel> canonicalise(const Program& program, std::string_view name,
                                               const ConstantValues& constants);

} // namespace compute::kernel
