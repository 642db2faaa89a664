// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Takes one kernel and what it reaches out of a program, into a context of its own. The kernels of
// a program can then be compiled at the same time, and none pays for the code of another.
#pragma once

#include "compute/kernel/Program.h"
#include "platform/base/Result.h"

namespace compute::kernel {

struct ExtractedKernel {
    std::unique_ptr<llvm::LLVMContext> context;
    std::unique_ptr<llvm::Module> module;
};

/// Writes the module down for extractKernel(), as it is then. LLVM changes a module that it writes,
/// so this is no work for several threads.
void keepBitcode(Program& program);

/// Several threads may extract from one program at the same time if it has its bitcode. Without,
/// the module is written anew.
platform::Result<ExtractedKernel> extractKernel(const Program& program,
                                                const KernelDeclaration& kernel);

} // namespace compute::kernel
