// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The kernel pipeline: from a program and a kernel's name to one canonical function that both the
// host back end and the SPIR-V back end start from.
#pragma once

#include "compute/kernel/CompilerOptions.h"
#include "compute/kernel/Program.h"
#include "platform/base/Result.h"

#include <llvm/Target/TargetMachine.h>

#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

namespace compute::kernel {

class Dump;

/// One kernel on its own, specialised, inlined and made safe. The module holds the function
/// `symbol`, which runs one thread and whose signature is that of KernelSignature.h, the functions
/// that a large kernel shares (ChooseShared.h), and constant globals. It has the target's triple
/// and data layout. Every operation has a result for all operands, no access leaves its private
/// array, nothing is undefined; control flow is reducible, without switches, and has one return.
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

/// Runs the pipeline on a copy of what the kernel reaches; the module is then one for `target`.
/// Several threads may do so on one program at the same time. The error names the kernel, function
/// or constant at fault. The code after each pass goes to `dump` unless that is null. When it is to
/// stop, it does so after the pass at hand, with an error.
platform::Result<CanonicalKernel>
canonicalise(const Program& program, std::string_view name, const ConstantValues& constants,
             llvm::TargetMachine& target, const CompilerOptions& options = {},
             const Dump* dump = nullptr, const std::stop_token& stop = {});

} // namespace compute::kernel
